#include "Sampling/RusageInfo.h"

#include "core/ByteDecoding.h"

namespace orv {

std::optional<ProcessUsage> RusageInfoV6::decode(std::span<const uint8_t> record, const MachTimebase& timebase) {
    if (record.size() < size) return std::nullopt;
    // Every counter lies inside the size checked above, so no load fails.
    auto counter = [&](size_t offset) { return *ByteDecoding::loadNative<uint64_t>(record, offset); };
    ProcessUsage usage;
    // Two counters that each fit 64 bits may not together; the sum wraps no
    // further than the conversion, which checks its own overflow.
    uint64_t ticks = counter(userTime) + counter(systemTime);
    usage.cpuTime = timebase.duration(ticks);
    usage.footprintBytes = counter(physFootprint);
    usage.diskReadBytes = counter(diskBytesRead);
    usage.diskWriteBytes = counter(diskBytesWritten);
    usage.energyNJ = counter(billedEnergy);
    usage.wakeups = counter(idleWakeups) + counter(interruptWakeups);  // wraps, as specified
    return usage;
}

}  // namespace orv
