#pragma once

#include <cstdint>
#include <future>
#include <optional>
#include <vector>

#include "core/NetworkByteCounts.h"
#include "core/ProcessReading.h"

namespace orv {

// Cumulative per-process network bytes for the snapshot's network rates.
class ProcessNetworkSource {
public:
    virtual ~ProcessNetworkSource() = default;

    // The per-pid cumulative bytes now, within the accounting's own time
    // limit; absent when per-process accounting is unavailable.
    virtual std::future<std::optional<NetworkBytesByPID>> cumulativeBytes() = 0;
    // The real user id of the running process.
    virtual uint32_t ownerUID() const = 0;

    // The user whose processes the last answer covers, or absent when it
    // covers every user's: the rates of other users' processes would read
    // as no traffic, so they are left without rates.
    virtual std::optional<uint32_t> coveredUID() const { return ownerUID(); }
    // This pass's process readings, for accounting that has to find which
    // process holds a socket itself: only a process that ran since the last
    // look can have opened one.
    virtual void observe(const std::vector<ProcessReading>& readings) { (void)readings; }
    // Changes when the counts start again from another origin (another
    // source answered): the rates then need a new baseline.
    virtual uint64_t baselineGeneration() const { return 0; }
};

}  // namespace orv
