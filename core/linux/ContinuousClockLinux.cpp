#include <time.h>

#include "core/ContinuousClock.h"

namespace orv {

ContinuousClock::Instant ContinuousClock::now() {
    timespec ts{};
    clock_gettime(CLOCK_BOOTTIME, &ts);
    return {int64_t(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec};
}

}  // namespace orv
