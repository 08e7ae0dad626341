#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "core/CPUTopology.h"

namespace orv {

// What sysfs tells about the cores' kinds, read by the Linux port.
struct CoreGroupFacts {
    // The online cores' numbers N in the order of the per-core array.
    std::vector<int64_t> onlineCores;
    // Intel hybrid parts list their big and small cores separately
    // (devices/cpu_core/cpus and devices/cpu_atom/cpus), as CPU lists.
    std::optional<std::vector<int64_t>> hybridPerformance;
    std::optional<std::vector<int64_t>> hybridEfficiency;
    // cpuN/cpu_capacity where the kernel gives it (asymmetric ARM systems).
    std::map<int64_t, int64_t> capacities;
};

// A kernel CPU list such as "0-3,8,10-11" (Documentation/admin-guide/cputopology.rst).
struct CPUList {
    // The CPU numbers in the list's order; empty for an empty list, absent
    // on garbage.
    static std::optional<std::vector<int64_t>> decode(std::string_view text);
};

// The topology from core kinds. Hybrid lists give "Performance" then
// "Efficiency"; otherwise distinct capacities group the cores, highest
// first; otherwise one "CPU" level holds every core. Level members are
// positions in the per-core array, so an offline core's N is left out and
// the numbers after it move down.
CPUTopology coreGroupTopology(const CoreGroupFacts& facts);

}  // namespace orv
