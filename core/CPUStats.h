#pragma once

#include <boost/describe/class.hpp>
#include <utility>
#include <vector>

#include "core/CPUTopology.h"
#include "core/CoreCluster.h"
#include "core/LoadAverage.h"
#include "core/RecordHash.h"

namespace orv {

// Busy shares of the processor over one interval.
struct CPUStats {
    double totalPercent = 0;               // user + system, clamped to 0…100
    double userPercent = 0;                // mean of the cores' user (+ nice) shares, not clamped
    double systemPercent = 0;              // mean of the cores' system shares, not clamped
    std::vector<double> perCorePercent;    // per logical core, clamped, kernel order
    std::vector<CoreCluster> clusters;     // one per topology level
    LoadAverage loadAverage;

    // Builds the record from per-core (user percent, system percent) pairs.
    // The raw pairs are averaged; only the per-core and total figures are
    // clamped. A level's indexes past the core count are skipped in its mean.
    static CPUStats fromCoreLoads(const std::vector<std::pair<double, double>>& coreLoads,
                                  const CPUTopology& topology, LoadAverage loadAverage);

    friend bool operator==(const CPUStats&, const CPUStats&) = default;
};
BOOST_DESCRIBE_STRUCT(CPUStats, (), (totalPercent, userPercent, systemPercent, perCorePercent, clusters,
                                     loadAverage))

}  // namespace orv
