#include <mach/mach_time.h>

#include "core/ContinuousClock.h"

namespace orv {

ContinuousClock::Instant ContinuousClock::now() {
    static const mach_timebase_info_data_t timebase = [] {
        mach_timebase_info_data_t info{};
        if (mach_timebase_info(&info) != KERN_SUCCESS || info.numer == 0 || info.denom == 0) info = {1, 1};
        return info;
    }();
    // mach_continuous_time keeps counting across sleep, like CLOCK_BOOTTIME.
    unsigned __int128 ticks = mach_continuous_time();
    return {static_cast<int64_t>(ticks * timebase.numer / timebase.denom)};
}

}  // namespace orv
