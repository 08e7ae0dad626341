#include "Sampling/TcpTrafficGate.h"

namespace orv {

bool TcpTrafficGate::mustDump(const std::optional<TcpSegmentCounters>& counters) {
    // Counters that went back (a namespace made again) differ as much as
    // ones that moved on.
    const bool quiet = counters && previous_ && *counters == *previous_;
    previous_ = counters;
    if (quiet && settled_) return false;
    settled_ = quiet;
    return true;
}

}  // namespace orv
