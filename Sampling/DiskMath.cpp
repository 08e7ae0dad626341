#include "Sampling/DiskMath.h"

#include <algorithm>
#include <limits>

#include "Sampling/CounterMath.h"

namespace orv {

std::pair<double, double> DiskMath::rates(const BlockCounterMap* previous, const BlockCounterMap& current,
                                          double seconds) {
    return {CounterMath::rate(previous, current, seconds, &BlockCounters::bytesRead),
            CounterMath::rate(previous, current, seconds, &BlockCounters::bytesWritten)};
}

uint64_t DiskMath::baselineFreeSpace(std::optional<uint64_t> importantFree, std::optional<uint64_t> availableFree) {
    return importantFree.value_or(availableFree.value_or(0));
}

uint64_t DiskMath::freeSpace(std::optional<uint64_t> importantFree, std::optional<uint64_t> availableFree,
                             std::optional<uint64_t> statfsFree, uint64_t total) {
    if (!importantFree) return std::min(statfsFree.value_or(availableFree.value_or(0)), total);
    if (!statfsFree || !availableFree) return std::min(*importantFree, total);
    auto capped = [](uint64_t value) {
        return __int128(std::min<uint64_t>(value, uint64_t(std::numeric_limits<int64_t>::max())));
    };
    // In 128 bits the sum of three capped values cannot overflow.
    const __int128 adjusted = capped(*statfsFree) - capped(*availableFree) + capped(*importantFree);
    if (adjusted < 1) return 0;
    return adjusted > __int128(total) ? total : uint64_t(adjusted);
}

}  // namespace orv
