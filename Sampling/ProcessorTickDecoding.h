#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "core/CPUTicks.h"

namespace orv {

struct ProcessorTickDecoding {
    // The kernel's PROCESSOR_CPU_LOAD_INFO array: `processorCount` records of
    // CPU_STATE_MAX (4) 32-bit counters in the state order of
    // <mach/machine.h>: CPU_STATE_USER, CPU_STATE_SYSTEM, CPU_STATE_IDLE,
    // CPU_STATE_NICE. Each counter is widened to 64 bits. Absent when the
    // array is shorter than the count says.
    static constexpr size_t statesPerProcessor = 4;
    static constexpr size_t userState = 0;
    static constexpr size_t systemState = 1;
    static constexpr size_t idleState = 2;
    static constexpr size_t niceState = 3;

    static std::optional<std::vector<CPUTicks>> ticks(std::span<const uint32_t> words, size_t processorCount);
};

}  // namespace orv
