#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "core/BlockCounters.h"

namespace orv {

struct DiskMath {
    // (readBPS, writeBPS) by the shared counter rule.
    static std::pair<double, double> rates(const BlockCounterMap* previous, const BlockCounterMap& current,
                                           double seconds);

    // The free space a user is told of at an expensive reading: the
    // capacity for important use when the system gives one, else the
    // file-system free count, else 0. Not clamped to the total: these are
    // the figures the system itself reports at that moment.
    static uint64_t baselineFreeSpace(std::optional<uint64_t> importantFree, std::optional<uint64_t> availableFree);

    // The free space a user is told of between expensive readings. The
    // capacity for important use includes space the system could purge,
    // which only the expensive query knows; between such queries it moves by
    // as much as the cheap file-system count moved since the baseline.
    static uint64_t freeSpace(std::optional<uint64_t> importantFree, std::optional<uint64_t> availableFree,
                              std::optional<uint64_t> statfsFree, uint64_t total);
};

}  // namespace orv
