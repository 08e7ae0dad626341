#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace orv::cli {

// Snapshots as Prometheus metrics. Rates become `_total` counters by
// integrating each rate over its snapshot's interval, so PromQL's rate()
// gives back what the snapshots measured and no scrape is lost between
// passes; levels are gauges. Names carry their unit, in base units
// (seconds, bytes, ratios 0–1).
class MetricsExposition {
public:
    struct Options {
        // A series per process (pid and name labels): a cardinality hazard,
        // so only when asked.
        bool processes = false;
    };

    MetricsExposition() = default;
    explicit MetricsExposition(Options options) : options_(options) {}

    // Adds one snapshot: its rates grow the counters, its levels replace
    // the gauges.
    void add(const Snapshot& snapshot);

    // The exposition: Prometheus's text format 0.0.4, or OpenMetrics 1.0
    // (counter families named without `_total`, and a closing "# EOF").
    std::string text(bool openMetrics) const;

    static constexpr const char* textContentType = "text/plain; version=0.0.4; charset=utf-8";
    static constexpr const char* openMetricsContentType = "application/openmetrics-text; version=1.0.0; charset=utf-8";

    // A label value as the format quotes it: backslash, double quote and
    // line feed escaped.
    static std::string escapeLabel(const std::string& value);
    // A sample value: the shortest form that reads back exactly; NaN and
    // infinities as the format spells them.
    static std::string number(double value);

private:
    struct AppTotals {
        std::string name;
        std::string kind;
        double cpuSeconds = 0;
        double diskReadBytes = 0;
        double diskWrittenBytes = 0;
        double networkReceivedBytes = 0;
        double networkSentBytes = 0;
        int64_t lastSeen = 0;  // the snapshot count when it was last present
    };
    struct ProcessTotals {
        std::string name;
        std::string app;
        double cpuSeconds = 0;
        int64_t lastSeen = 0;
    };

    Options options_;
    std::optional<Snapshot> last_;
    int64_t added_ = 0;
    std::vector<double> coreSeconds_[3];  // user, system, idle
    double diskReadBytes_ = 0, diskWrittenBytes_ = 0;
    double networkReceivedBytes_ = 0, networkSentBytes_ = 0;
    std::map<std::string, AppTotals> apps_;
    std::map<int32_t, ProcessTotals> processes_;
};

}  // namespace orv::cli
