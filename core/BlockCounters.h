#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <unordered_map>

#include "core/RecordHash.h"

namespace orv {

// Cumulative bytes moved by one block-storage device.
struct BlockCounters {
    uint64_t bytesRead = 0;
    uint64_t bytesWritten = 0;

    friend bool operator==(const BlockCounters&, const BlockCounters&) = default;
};
BOOST_DESCRIBE_STRUCT(BlockCounters, (), (bytesRead, bytesWritten))

// Block counters by device: the registry entry ID on macOS, the device
// number (major << 32 | minor) on Linux.
using BlockCounterMap = std::unordered_map<uint64_t, BlockCounters>;

}  // namespace orv
