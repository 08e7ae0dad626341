#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/AppIdentity.h"
#include "core/Metric.h"
#include "core/Snapshot.h"

namespace orv::cli {

// The sum, count and maximum of one figure's samples in a bucket; buckets
// merge by adding sums and counts and keeping the larger maximum.
struct FigureAccumulator {
    double sum = 0;
    int64_t count = 0;
    double maximum = 0;

    void add(double value) {
        maximum = count == 0 ? value : std::max(maximum, value);
        sum += value;
        ++count;
    }
};

// One app's totals over a bucket: what a ranking needs.
struct AppTotals {
    double seconds = 0;            // time the app was seen
    double cpuSeconds = 0;         // CPU time used, in seconds of one core
    double memoryByteSeconds = 0;  // memory held × time: ÷ seconds is the average
    double diskReadBytes = 0;
    double diskWrittenBytes = 0;
    double netBytes = 0;           // received + sent
    double energy = 0;             // energy impact × seconds

    // `cores`: the machine's logical cores, since an app's CPU share is of
    // the whole machine.
    void add(const AppAggregate& app, double interval, size_t cores);
};

// The battery's figures over one local day.
struct BatteryDayTotals {
    int64_t dayStart = 0;  // Unix seconds of the local midnight
    std::optional<double> maxCapacityPercent;
    std::optional<int64_t> cycleCount;
    double secondsOnBattery = 0;
};

// Everything the recorder gathered over one minute, written at once.
struct HistoryMinute {
    int64_t start = 0;  // Unix seconds, a multiple of 60
    std::map<Metric, FigureAccumulator> metrics;
    std::unordered_map<std::string, std::pair<AppIdentity, AppTotals>> apps;  // by AppIdentity.id
    // By local day: a minute across midnight has a part in each.
    std::map<int64_t, BatteryDayTotals> batteryDays;

    bool empty() const { return metrics.empty() && apps.empty() && batteryDays.empty(); }
};

// The system figures a snapshot gives each metric; a metric the machine
// cannot measure (no GPU, no sensors) is left out.
std::vector<std::pair<Metric, double>> metricFigures(const Snapshot& snapshot);

}  // namespace orv::cli
