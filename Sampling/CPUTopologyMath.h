#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/CPUTopology.h"
#include "core/PropertyValue.h"

namespace orv {

// A performance level as the kernel lists it: a name and a core count.
struct PerfLevel {
    std::string name;
    int64_t coreCount = 0;

    friend bool operator==(const PerfLevel&, const PerfLevel&) = default;
};

// The pure parts of working out which cores belong to which level.
struct CPUTopologyMath {
    // Pairs levels with the registry's cluster types by size: fails (absent)
    // when two levels share a core count, when the level totals differ from
    // the number of cores in `clusterTypes`, or when a level's size matches
    // no cluster. Clusters are looked at in the order of their type text.
    static std::optional<CPUTopology> matchClusters(const std::vector<PerfLevel>& levels,
                                                    const std::map<int64_t, std::string>& clusterTypes);

    // The kernel numbers the cores of the last (lowest-performance) level
    // first, so level n−1 gets 0…, then level n−2, and so on; the result is
    // listed by level ascending.
    static CPUTopology kernelCoreOrder(const std::vector<PerfLevel>& levels);

    // One core of the device tree's cpus node: its "logical-cpu-id" (a
    // number) and "cluster-type" (data: the bytes before the first zero,
    // as UTF-8, or "" when they are not). Absent when either property is
    // missing or of another kind.
    static std::optional<std::pair<int64_t, std::string>> clusterEntry(const PropertyValue* logicalCPUID,
                                                                      const PropertyValue* clusterType);
};

}  // namespace orv
