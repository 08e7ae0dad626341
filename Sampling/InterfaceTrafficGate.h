#pragma once

#include <optional>

#include "Sampling/NetworkPort.h"

namespace orv {

// Whether a pass must dump every socket's byte counts, or may keep the last
// dump's. A TCP socket's received and acknowledged bytes change only when a
// packet arrives on an interface of its network namespace, and a socket is
// made or closed with traffic only by packets too: while no interface's
// counters (the loopback's included) move, the last dump still holds every
// socket's exact counts.
//
// An interface counts a packet a little before the socket takes it in (the
// socket may be busy, the packet on its backlog), so a dump made just after
// traffic stopped may miss the last bytes. The dump that lets later passes
// rest is therefore one made a whole pass after the counters last moved:
// after traffic, one more pass dumps with the counters quiet, and only then
// do quiet passes skip.
class InterfaceTrafficGate {
public:
    // This pass's read of every interface (absent when it failed); true
    // when the sockets must be dumped. The first pass always dumps.
    bool mustDump(const std::optional<InterfaceCountersByIndex>& counters);

    // The dump mustDump asked for failed: the next pass dumps.
    void dumpFailed() { settled_ = false; }

private:
    std::optional<InterfaceCountersByIndex> previous_;
    // The last dump came a whole pass after the counters last moved, and
    // they have not moved since.
    bool settled_ = false;
};

}  // namespace orv
