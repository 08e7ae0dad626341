#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orv {

// The TCP segments a network namespace has received and sent since it was
// made, both families together: InSegs and OutSegs of the "Tcp:" lines of
// proc/net/snmp; and the connections it has made, ActiveOpens (connect)
// plus PassiveOpens (accept).
struct TcpSegmentCounters {
    uint64_t received = 0;
    uint64_t sent = 0;
    // Absent when the kernel's table lacks either count: then no pass can
    // tell that no connection was made.
    std::optional<uint64_t> opened;

    // The counters of proc/net/snmp's text (a line of "Tcp:" field names,
    // then one of their values); absent when either segment count is
    // missing.
    static std::optional<TcpSegmentCounters> decode(std::string_view snmp);

    friend bool operator==(const TcpSegmentCounters&, const TcpSegmentCounters&) = default;
};

}  // namespace orv
