#include "Sampling/TcpTrafficGate.h"

namespace orv {

TcpTrafficGate::Pass TcpTrafficGate::next(const std::optional<TcpSegmentCounters>& counters) {
    // Counters that went back (a namespace made again) differ as much as
    // ones that moved on.
    const bool readable = counters && previous_;
    const bool quiet = readable && counters->received == previous_->received && counters->sent == previous_->sent;
    const bool noneOpened = readable && counters->opened && counters->opened == previous_->opened;
    previous_ = counters;
    if (quiet && settled_) return Pass::keep;
    // Quiet counters that have not settled yet dump: only a dump lets later
    // passes keep every socket's counts.
    if (!quiet && noneOpened && opensSettled_ && passesSinceDump_ + 1 < lookUpPasses) {
        ++passesSinceDump_;
        settled_ = false;
        return Pass::lookUp;
    }
    settled_ = quiet;
    opensSettled_ = noneOpened;
    passesSinceDump_ = 0;
    return Pass::dump;
}

}  // namespace orv
