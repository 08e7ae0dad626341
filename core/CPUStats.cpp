#include "core/CPUStats.h"

#include <algorithm>
#include <cmath>

namespace orv {

namespace {
double clampPercent(double value) {
    if (std::isnan(value)) return 0;
    return std::min(std::max(value, 0.0), 100.0);
}
}  // namespace

CPUStats CPUStats::fromCoreLoads(const std::vector<std::pair<double, double>>& coreLoads,
                                 const CPUTopology& topology, LoadAverage loadAverage) {
    CPUStats stats;
    stats.perCorePercent.reserve(coreLoads.size());
    double userSum = 0;
    double systemSum = 0;
    for (const auto& [user, system] : coreLoads) {
        stats.perCorePercent.push_back(clampPercent(user + system));
        userSum += user;
        systemSum += system;
    }
    if (!coreLoads.empty()) {
        stats.userPercent = userSum / double(coreLoads.size());
        stats.systemPercent = systemSum / double(coreLoads.size());
    }
    stats.totalPercent = clampPercent(stats.userPercent + stats.systemPercent);

    const auto coreCount = int64_t(stats.perCorePercent.size());
    stats.clusters.reserve(topology.levels.size());
    for (const auto& level : topology.levels) {
        double sum = 0;
        size_t collected = 0;
        for (int64_t index : level.coreIndexes) {
            if (index < 0 || index >= coreCount) continue;
            sum += stats.perCorePercent[size_t(index)];
            ++collected;
        }
        stats.clusters.push_back({level.name, level.level, level.coreIndexes,
                                  collected == 0 ? 0.0 : sum / double(collected)});
    }
    stats.loadAverage = loadAverage;
    return stats;
}

}  // namespace orv
