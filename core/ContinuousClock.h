#pragma once

#include <cstdint>

#include "core/Duration.h"

namespace orv {

// The monotonic clock that keeps counting while the machine sleeps
// (CLOCK_BOOTTIME on Linux, continuous Mach time on macOS). Intervals
// between samples are measured on it.
struct ContinuousClock {
    struct Instant {
        int64_t nanoseconds = 0;  // since boot

        friend constexpr Duration operator-(Instant a, Instant b) {
            return Duration::nanoseconds(a.nanoseconds - b.nanoseconds);
        }
        friend constexpr Instant operator+(Instant a, Duration d) { return {a.nanoseconds + d.toNanoseconds()}; }
        friend constexpr bool operator==(const Instant&, const Instant&) = default;
        friend constexpr auto operator<=>(const Instant&, const Instant&) = default;
    };

    static Instant now();
};

}  // namespace orv
