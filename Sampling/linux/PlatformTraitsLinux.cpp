#include <time.h>

#include "Sampling/PlatformTraits.h"

namespace orv::PlatformTraits {

Duration uptime() {
    timespec now{};
    if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) return Duration::zero();
    return Duration::seconds(now.tv_sec) + Duration::nanoseconds(now.tv_nsec);
}

bool measuresProcessEnergy() { return false; }

}  // namespace orv::PlatformTraits
