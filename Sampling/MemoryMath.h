#pragma once

#include <cstdint>
#include <optional>

#include "Sampling/MeminfoDecoding.h"
#include "core/MemoryPressure.h"
#include "core/MemoryStats.h"
#include "core/VMPageCounts.h"

namespace orv {

// The pure arithmetic of the memory figures.
struct MemoryMath {
    // The record from page counts. Products and sums are unsigned 64-bit
    // and wrap, as the kernel's own page arithmetic does; used is not
    // clamped to the total.
    static MemoryStats stats(const VMPageCounts& pages, uint64_t pageSize, uint64_t totalBytes,
                             uint64_t swapUsedBytes, MemoryPressure pressure, int64_t availableLevel);

    // kern.memorystatus_vm_pressure_level: 2 is warning, 4 critical,
    // anything else (1 is the kernel's normal) normal.
    static MemoryPressure pressureFromKernelLevel(int64_t level);

    // A level clamped to 0…100.
    static int64_t clampLevel(int64_t level);

    // Linux's verdict from pressure stall averages (absent when the kernel
    // keeps no pressure accounting) and MemAvailable against MemTotal:
    // critical when full ≥ 10 or under 5 % available; warning when some ≥
    // 10, full ≥ 2 or under 15 % available; else normal.
    static MemoryPressure pressureFromStall(const std::optional<MemoryStall>& stall,
                                            std::optional<uint64_t> available, uint64_t total);

    // MemAvailable ÷ MemTotal × 100, clamped; 100 when either is unknown.
    static int64_t availableLevel(std::optional<uint64_t> available, uint64_t total);
};

}  // namespace orv
