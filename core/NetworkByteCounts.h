#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <unordered_map>

namespace orv {

// One process's cumulative network bytes, received and sent, since the
// accounting began watching it.
struct NetworkByteCounts {
    uint64_t rx = 0;
    uint64_t tx = 0;

    friend bool operator==(const NetworkByteCounts&, const NetworkByteCounts&) = default;
};
BOOST_DESCRIBE_STRUCT(NetworkByteCounts, (), (rx, tx))

// The per-process answer of the accounting, keyed by pid.
using NetworkBytesByPID = std::unordered_map<int32_t, NetworkByteCounts>;

}  // namespace orv
