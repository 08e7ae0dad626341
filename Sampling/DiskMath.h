#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>

#include "core/BlockCounters.h"

namespace orv {

// Block counters by device: the registry entry ID on macOS, the device
// number (major << 32 | minor) on Linux.
using BlockCounterMap = std::unordered_map<uint64_t, BlockCounters>;

struct DiskMath {
    // (readBPS, writeBPS) by the shared counter rule.
    static std::pair<double, double> rates(const BlockCounterMap* previous, const BlockCounterMap& current,
                                           double seconds);

    // The free space a user is told of. The capacity for important use
    // includes space the system could purge, which only the expensive query
    // knows; between such queries it moves by as much as the cheap
    // file-system count moved since the baseline.
    static uint64_t freeSpace(std::optional<uint64_t> importantFree, std::optional<uint64_t> availableFree,
                              std::optional<uint64_t> statfsFree, uint64_t total);
};

}  // namespace orv
