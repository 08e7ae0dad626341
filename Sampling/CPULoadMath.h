#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "core/CPUTicks.h"

namespace orv {

// Per-core busy shares from two tick readings.
struct CPULoadMath {
    // How a kernel keeps its tick counters, and so how a delta is taken.
    enum class CounterWidth {
        // 32 bits (macOS): deltas are 32-bit wrapping subtractions, so a
        // wrapped counter gives its true small delta, and one that went
        // backwards gives a large delta rather than an error.
        wrapping32,
        // 64 bits that never wrap in practice (Linux): a counter that went
        // backwards (iowait can) adds nothing to the interval.
        monotonic64,
    };

    // One (user percent, system percent) pair per element of `current`;
    // user includes nice. The baseline is `previous` when it has as many
    // cores as `current`, else zero (the average since boot).
    static std::vector<std::pair<double, double>> coreLoads(const std::optional<std::vector<CPUTicks>>& previous,
                                                            const std::vector<CPUTicks>& current,
                                                            CounterWidth width = CounterWidth::wrapping32);
};

}  // namespace orv
