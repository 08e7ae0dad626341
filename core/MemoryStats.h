#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>

#include "core/MemoryPressure.h"
#include "core/RecordHash.h"

namespace orv {

// Physical memory and how it is used at one moment.
struct MemoryStats {
    uint64_t totalBytes = 0;
    uint64_t usedBytes = 0;         // app + wired + compressed, not clamped to the total
    uint64_t appBytes = 0;          // anonymous memory less purgeable memory
    uint64_t wiredBytes = 0;
    uint64_t compressedBytes = 0;
    uint64_t cachedFilesBytes = 0;  // file-backed plus purgeable memory
    uint64_t swapUsedBytes = 0;
    MemoryPressure pressure = MemoryPressure::normal;
    int64_t availableLevel = 100;   // 0–100

    friend bool operator==(const MemoryStats&, const MemoryStats&) = default;
};
BOOST_DESCRIBE_STRUCT(MemoryStats, (), (totalBytes, usedBytes, appBytes, wiredBytes, compressedBytes,
                                        cachedFilesBytes, swapUsedBytes, pressure, availableLevel))

}  // namespace orv
