#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Sampling/CPUTopologyMath.h"
#include "core/CPUTopology.h"

namespace orv {

// The kernel reads the performance-level topology is worked out from, as
// operations so that the rule runs against fakes: the macOS port binds
// them to sysctl and the I/O Registry.
struct PerfLevelReads {
    // hw.nperflevels, then each hw.perflevel<i>.name and .logicalcpu; any
    // failure throws SamplingError.
    std::function<std::vector<PerfLevel>()> levels;
    // hw.logicalcpu; throws SamplingError.
    std::function<int64_t()> logicalCPUCount;
    // The process's active processor count, the last resort.
    std::function<int64_t()> activeProcessorCount;
    // Logical core number → cluster-type text from the registry; absent when
    // the registry has none (an empty map counts as absent).
    std::function<std::optional<std::map<int64_t, std::string>>()> clusterTypes;
};

// The topology from performance levels matched with the registry's cluster
// types, falling back to one "CPU" level when the level sysctls fail and to
// the kernel's core order when the registry cannot be matched; each
// fallback writes its log line. Never fails.
CPUTopology perfLevelTopology(const PerfLevelReads& reads);

}  // namespace orv
