#pragma once

#include <optional>

#include "Sampling/TcpSegmentCounters.h"

namespace orv {

// Whether a pass must dump every TCP socket's byte counts, or may keep the
// last dump's. A socket's received bytes (tcpi_bytes_received) and
// acknowledged bytes (tcpi_bytes_acked) change only when a TCP segment
// arrives for it, and a socket is made only by sending or receiving one:
// while the network namespace's TCP segment counters stand still, the last
// dump still holds every socket's exact counts. Loopback connections count
// their segments too, so a connection to one of the machine's own addresses
// (which the dumps count, as its peer is not a loopback address) is never
// missed; UDP, ARP and the like, which change no TCP count, let passes rest.
//
// The namespace counts a segment a little before the socket takes it in (the
// socket may be busy and the segment on its backlog), so a dump made just as
// traffic stopped may miss the last bytes. The dump that lets later passes
// rest is therefore one made a whole pass after the counters last moved:
// after traffic, one more pass dumps with the counters quiet, and only then
// do quiet passes skip.
class TcpTrafficGate {
public:
    // This pass's counters (absent when they could not be read); true when
    // the sockets must be dumped. The first pass always dumps.
    bool mustDump(const std::optional<TcpSegmentCounters>& counters);

    // The dump mustDump asked for failed: the next pass dumps.
    void dumpFailed() { settled_ = false; }

private:
    std::optional<TcpSegmentCounters> previous_;
    // The last dump came a whole pass after the counters last moved, and
    // they have not moved since.
    bool settled_ = false;
};

}  // namespace orv
