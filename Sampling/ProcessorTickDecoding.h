#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "core/CPUTicks.h"

namespace orv {

// The kernel's PROCESSOR_CPU_LOAD_INFO array (host_processor_info):
// `processorCount` records of CPU_STATE_MAX (4) 32-bit counters in the state
// order of <mach/machine.h>.
struct ProcessorLoadInfo {
    static constexpr size_t statesPerProcessor = 4;  // CPU_STATE_MAX
    static constexpr size_t userState = 0;           // CPU_STATE_USER
    static constexpr size_t systemState = 1;         // CPU_STATE_SYSTEM
    static constexpr size_t idleState = 2;           // CPU_STATE_IDLE
    static constexpr size_t niceState = 3;           // CPU_STATE_NICE

    // Each counter widened to 64 bits. Absent when the array is shorter
    // than the count says.
    static std::optional<std::vector<CPUTicks>> decode(std::span<const uint32_t> words, size_t processorCount);
};

}  // namespace orv
