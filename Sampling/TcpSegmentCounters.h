#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orv {

// The TCP segments a network namespace has received and sent since it was
// made, both families together: InSegs and OutSegs of the "Tcp:" lines of
// proc/net/snmp.
struct TcpSegmentCounters {
    uint64_t received = 0;
    uint64_t sent = 0;

    // The counters of proc/net/snmp's text (a line of "Tcp:" field names,
    // then one of their values); absent when either is missing.
    static std::optional<TcpSegmentCounters> decode(std::string_view snmp);

    friend bool operator==(const TcpSegmentCounters&, const TcpSegmentCounters&) = default;
};

}  // namespace orv
