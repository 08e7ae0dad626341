#pragma once

#include <cstdint>
#include <optional>

#include "core/Duration.h"

namespace orv {

// Converts Mach absolute-time ticks (what rusage reports CPU time in) to
// nanoseconds: 1/1 on Intel Macs, commonly 125/3 on Apple silicon.
struct MachTimebase {
    uint64_t numer = 1;
    uint64_t denom = 1;

    // A failed mach_timebase_info leaves zeros; each part is at least 1.
    static MachTimebase fromRaw(uint64_t numer, uint64_t denom) {
        return {numer < 1 ? 1 : numer, denom < 1 ? 1 : denom};
    }

    // (ticks / denom) × numer + ((ticks mod denom) × numer) / denom: the split
    // keeps the product in range. A count whose nanoseconds still do not fit
    // 64 bits is no CPU time a process can have had (2^64 ns is 584 years):
    // it is absent, and the reading it came from is malformed.
    std::optional<uint64_t> nanoseconds(uint64_t ticks) const;

    // The CPU time of `ticks`, clamped to 2^63−1 nanoseconds; absent when
    // the conversion overflows.
    std::optional<Duration> duration(uint64_t ticks) const;
};

}  // namespace orv
