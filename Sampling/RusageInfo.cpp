#include "Sampling/RusageInfo.h"

#include <cstring>

namespace orv {

namespace {
uint64_t load(std::span<const uint8_t> bytes, size_t offset) {
    uint64_t value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}
}  // namespace

std::optional<ProcessUsage> decodeRusageInfoV6(std::span<const uint8_t> record, const MachTimebase& timebase) {
    using L = RusageInfoLayout;
    if (record.size() < L::size) return std::nullopt;
    ProcessUsage usage;
    // Two counters that each fit 64 bits may not together; the sum wraps no
    // further than the conversion, which checks its own overflow.
    uint64_t ticks = load(record, L::userTime) + load(record, L::systemTime);
    usage.cpuTime = timebase.duration(ticks);
    usage.footprintBytes = load(record, L::physFootprint);
    usage.diskReadBytes = load(record, L::diskBytesRead);
    usage.diskWriteBytes = load(record, L::diskBytesWritten);
    usage.energyNJ = load(record, L::billedEnergy);
    usage.wakeups = load(record, L::idleWakeups) + load(record, L::interruptWakeups);  // wraps, as specified
    return usage;
}

}  // namespace orv
