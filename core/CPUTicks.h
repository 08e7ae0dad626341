#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>

#include "core/RecordHash.h"

namespace orv {

// Cumulative tick counters of one logical core. The kernel keeps them in
// 32 bits on macOS; they are widened here, and deltas wrap at 2^32.
struct CPUTicks {
    uint64_t user = 0;
    uint64_t system = 0;
    uint64_t idle = 0;
    uint64_t nice = 0;

    friend bool operator==(const CPUTicks&, const CPUTicks&) = default;
};
BOOST_DESCRIBE_STRUCT(CPUTicks, (), (user, system, idle, nice))

}  // namespace orv
