#pragma once

#include <optional>

#include "Sampling/TcpSegmentCounters.h"

namespace orv {

// What a pass must do to know every TCP socket's byte counts: dump every
// socket, look up only the sockets that may have moved, or keep what it
// knows.
//
// A socket's received bytes (tcpi_bytes_received) and acknowledged bytes
// (tcpi_bytes_acked) change only when a TCP segment arrives for it, and a
// socket is made only by sending or receiving one: while the network
// namespace's TCP segment counters stand still, the last dump still holds
// every socket's exact counts. Loopback connections count their segments
// too, so a connection to one of the machine's own addresses (which the
// dumps count, as its peer is not a loopback address) is never missed; UDP,
// ARP and the like, which change no TCP count, let passes rest.
//
// The namespace counts a segment a little before the socket takes it in (the
// socket may be busy and the segment on its backlog), so a dump made just as
// traffic stopped may miss the last bytes. The dump that lets later passes
// rest is therefore one made a whole pass after the counters last moved:
// after traffic, one more pass dumps with the counters quiet, and only then
// do quiet passes skip.
//
// Every dump walks the kernel's whole connection table (2^18 buckets on a
// machine with a few GiB of memory), which costs about as much as a
// snapshot pass of a few hundred processes, so a pass with traffic but no
// new connection (the namespace's opens counted the same, a whole pass
// after they last moved, as for segments) looks up only the sockets its
// caller names. Which those are (the sockets of processes that ran, and
// those that moved at their last look) is a good guess, not a proof: a
// socket can take in bytes while its process sleeps. So every
// `lookUpPasses`-th pass with traffic dumps anyway, and what a lookup pass
// missed lands then.
class TcpTrafficGate {
public:
    enum class Pass { keep, lookUp, dump };
    // Passes in a row with traffic, the dump among them.
    static constexpr unsigned lookUpPasses = 10;

    // This pass's counters (absent when they could not be read). The first
    // pass always dumps.
    Pass next(const std::optional<TcpSegmentCounters>& counters);

    // The dump next asked for failed: the next pass dumps.
    void dumpFailed() { settled_ = false; opensSettled_ = false; }
    // The pass next asked to look up dumped after all (too many sockets to
    // look up, or a lookup that failed): it counts as this round's dump.
    void dumpedInstead() { passesSinceDump_ = 0; }

private:
    std::optional<TcpSegmentCounters> previous_;
    // The last dump came a whole pass after the segment counters last
    // moved, and they have not moved since.
    bool settled_ = false;
    // The same for the opens: no socket has been made since the last dump.
    bool opensSettled_ = false;
    unsigned passesSinceDump_ = 0;
};

}  // namespace orv
