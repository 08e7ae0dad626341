#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "core/InterfaceCounters.h"

namespace orv {

using InterfaceCounterMap = std::unordered_map<std::string, InterfaceCounters>;

// Throughput summed over the interfaces that count.
struct NetworkMath {
    // Which interfaces count is the platform's rule (a name rule on macOS,
    // a physical device on Linux); only counted interfaces of `current`
    // contribute. Returns (inBPS, outBPS).
    static std::pair<double, double> rates(const InterfaceCounterMap* previous, const InterfaceCounterMap& current,
                                           double seconds, const std::function<bool(const std::string&)>& counts);

    // The macOS rule: names beginning with "en" (Ethernet and Wi-Fi) count;
    // loopback, tunnels, peer-to-peer Wi-Fi, bridges, access points,
    // cellular and the rest do not. The exclusion list is checked after the
    // prefix as the rule was first written; it never removes an "en" name.
    static bool isEthernetClassName(std::string_view name);
};

}  // namespace orv
