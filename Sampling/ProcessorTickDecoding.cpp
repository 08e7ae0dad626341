#include "Sampling/ProcessorTickDecoding.h"

namespace orv {

std::optional<std::vector<CPUTicks>> ProcessorLoadInfo::decode(std::span<const uint32_t> words,
                                                               size_t processorCount) {
    if (processorCount > words.size() / statesPerProcessor) return std::nullopt;
    std::vector<CPUTicks> ticks;
    ticks.reserve(processorCount);
    for (size_t i = 0; i < processorCount; ++i) {
        auto record = words.subspan(i * statesPerProcessor, statesPerProcessor);
        ticks.push_back({record[userState], record[systemState], record[idleState], record[niceState]});
    }
    return ticks;
}

}  // namespace orv
