#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "core/RecordHash.h"

namespace orv {

// Cumulative bytes of one network interface (the kernel's 64-bit counts).
struct InterfaceCounters {
    uint64_t bytesIn = 0;
    uint64_t bytesOut = 0;

    friend bool operator==(const InterfaceCounters&, const InterfaceCounters&) = default;
};
BOOST_DESCRIBE_STRUCT(InterfaceCounters, (), (bytesIn, bytesOut))

// Interface counters by the interface's name.
using InterfaceCounterMap = std::unordered_map<std::string, InterfaceCounters>;

}  // namespace orv
