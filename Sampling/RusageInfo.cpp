#include "Sampling/RusageInfo.h"

#include "core/ByteDecoding.h"

namespace orv {

std::optional<ProcessUsage> RusageInfoV6::decode(std::span<const uint8_t> record, const MachTimebase& timebase) {
    if (record.size() < size) return std::nullopt;
    // Every counter lies inside the size checked above, so no load fails.
    auto counter = [&](size_t offset) { return *ByteDecoding::loadNative<uint64_t>(record, offset); };
    ProcessUsage usage;
    // Two counters that each fit 64 bits may not together. Neither that nor
    // a conversion past 2^64 ns is a time a process can have run: such a
    // record is garbage, refused like a short one.
    uint64_t ticks = 0;
    if (__builtin_add_overflow(counter(userTime), counter(systemTime), &ticks)) return std::nullopt;
    auto cpuTime = timebase.duration(ticks);
    if (!cpuTime) return std::nullopt;
    usage.cpuTime = *cpuTime;
    usage.footprintBytes = counter(physFootprint);
    usage.diskReadBytes = counter(diskBytesRead);
    usage.diskWriteBytes = counter(diskBytesWritten);
    usage.energyNJ = counter(billedEnergy);
    usage.wakeups = counter(idleWakeups) + counter(interruptWakeups);  // wraps, as specified
    return usage;
}

}  // namespace orv
