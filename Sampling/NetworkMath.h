#pragma once

#include <string_view>
#include <utility>

#include "core/InterfaceCounters.h"

namespace orv {

// Throughput summed over the interfaces that count.
struct NetworkMath {
    // (inBPS, outBPS) by the shared counter rule. The maps hold only
    // interfaces that count: the port leaves the others out as it reads.
    static std::pair<double, double> rates(const InterfaceCounterMap* previous, const InterfaceCounterMap& current,
                                           double seconds);

    // The macOS rule: names beginning with "en" (Ethernet and Wi-Fi) count;
    // loopback, tunnels, peer-to-peer Wi-Fi, bridges, access points,
    // cellular and the rest do not. The exclusion list is checked after the
    // prefix as the rule was first written; it never removes an "en" name.
    static bool isEthernetClassName(std::string_view name);
};

}  // namespace orv
