#include "Sampling/InterfaceTrafficGate.h"

namespace orv {

bool InterfaceTrafficGate::mustDump(const std::optional<InterfaceCountersByIndex>& counters) {
    // An interface that came or went, or whose counters went back, differs
    // as much as one that moved.
    const bool quiet = counters && previous_ && *counters == *previous_;
    previous_ = counters;
    if (quiet && settled_) return false;
    settled_ = quiet;
    return true;
}

}  // namespace orv
