#include "Sampling/MemoryMath.h"

#include <algorithm>

namespace orv {

MemoryStats MemoryMath::stats(const VMPageCounts& pages, uint64_t pageSize, uint64_t totalBytes,
                              uint64_t swapUsedBytes, MemoryPressure pressure, int64_t availableLevel) {
    MemoryStats stats;
    const uint64_t app = pages.purgeablePages > pages.internalPages ? 0 : pages.internalPages - pages.purgeablePages;
    stats.totalBytes = totalBytes;
    stats.appBytes = app * pageSize;
    stats.wiredBytes = pages.wiredPages * pageSize;
    stats.compressedBytes = pages.compressorPages * pageSize;
    stats.cachedFilesBytes = (pages.externalPages + pages.purgeablePages) * pageSize;
    stats.usedBytes = stats.appBytes + stats.wiredBytes + stats.compressedBytes;
    stats.swapUsedBytes = swapUsedBytes;
    stats.pressure = pressure;
    stats.availableLevel = availableLevel;
    return stats;
}

MemoryPressure MemoryMath::pressureFromKernelLevel(int64_t level) {
    switch (level) {
        case 2: return MemoryPressure::warning;
        case 4: return MemoryPressure::critical;
        default: return MemoryPressure::normal;
    }
}

int64_t MemoryMath::clampLevel(int64_t level) { return std::clamp<int64_t>(level, 0, 100); }

MemoryPressure MemoryMath::pressureFromStall(const std::optional<MemoryStall>& stall,
                                             std::optional<uint64_t> available, uint64_t total) {
    // Compared in integers: available × 100 < total × 5 is "below 5 %".
    auto below = [&](unsigned __int128 percent) {
        return available && total > 0 &&
               (unsigned __int128)(*available) * 100 < (unsigned __int128)(total) * percent;
    };
    if ((stall && stall->fullAvg10 >= 10) || below(5)) return MemoryPressure::critical;
    if ((stall && (stall->someAvg10 >= 10 || stall->fullAvg10 >= 2)) || below(15)) return MemoryPressure::warning;
    return MemoryPressure::normal;
}

int64_t MemoryMath::availableLevel(std::optional<uint64_t> available, uint64_t total) {
    if (!available || total == 0) return 100;
    const auto level = (unsigned __int128)(*available) * 100 / total;
    return level > 100 ? 100 : int64_t(level);
}

}  // namespace orv
