#pragma once

#include <boost/describe/class.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/HistoryStore.h"
#include "core/AppTotal.h"
#include "core/BatteryDay.h"
#include "core/HistoryRange.h"
#include "core/Metric.h"
#include "core/MetricStatus.h"
#include "core/PeriodChange.h"
#include "core/SeriesPoint.h"

namespace orv::cli {

// What `orvantine history` shows for one metric over one range, read from
// the store: the series, the mean and peak, the grade (percentages only),
// the change against the period before (when that period is still kept),
// the apps ranked by the figure that goes with the metric, and the battery
// days. Its JSON form is `history --json`.
struct HistoryReport {
    HistoryRange range = HistoryRange::h12;
    Metric metric = Metric::cpu;
    std::vector<SeriesPoint> series;
    std::optional<double> average;
    std::optional<double> maximum;
    std::optional<MetricStatus> status;
    std::optional<PeriodChange> change;
    std::string appRanking;  // what the apps are ranked by: "cpuTime", "memory", ...
    std::vector<AppTotal> apps;
    std::vector<BatteryDay> batteryDays;

    static HistoryReport read(const HistoryStore& store, Metric metric, HistoryRange range, int64_t nowUnixSeconds,
                              size_t appLimit);
    // The app figure a metric's ranking adds up.
    static AppFigure rankingFigure(Metric metric);
};
BOOST_DESCRIBE_STRUCT(HistoryReport, (),
                      (range, metric, series, average, maximum, status, change, appRanking, apps, batteryDays))

}  // namespace orv::cli
