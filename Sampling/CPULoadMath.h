#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "core/CPUTicks.h"

namespace orv {

// Per-core busy shares from two tick readings.
struct CPULoadMath {
    // One (user percent, system percent) pair per element of `current`;
    // user includes nice. The baseline is `previous` when it has as many
    // cores as `current`, else zero (the average since boot). Deltas are
    // 32-bit wrapping subtractions, because the kernel's counters are 32-bit
    // on macOS: a wrapped counter gives its true small delta, and one that
    // went backwards gives a large delta rather than an error.
    static std::vector<std::pair<double, double>> coreLoads(const std::optional<std::vector<CPUTicks>>& previous,
                                                            const std::vector<CPUTicks>& current);
};

}  // namespace orv
