#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "Sampling/DRMFdinfo.h"

namespace orv {

// A GPU's load from its DRM clients, for drivers that publish no load of
// their own (Intel's i915 and xe): the growth of each work engine's busy
// time summed over every client of the card between two walks, over the
// wall time between them, the busiest engine giving the figure. xe counts
// busy cycles against the GPU's own cycle clock instead: there each
// client's share of its clock's growth is summed.
//
// A client seen for the first time was opened during the interval, so all
// its time counts; a client that closed takes its time with it and counts
// nothing.
class DRMUtilization {
public:
    // The clients of one card seen in one walk at `nanoseconds` on a
    // monotonic clock. Absent on the first walk, which only sets the
    // baseline; otherwise 0 to 100.
    std::optional<double> update(std::span<const DRMClientUsage> clients, int64_t nanoseconds);

    // A client that counts cycles only (xe) with engine times filled in:
    // each interval's share of the engine's clock times the interval,
    // summed since the client was first seen. Other clients as they are.
    DRMClientUsage withEngineTimes(const DRMClientUsage& client) const;

private:
    using Key = std::pair<std::string, uint64_t>;  // driver and client id
    struct Seen {
        std::map<std::string, uint64_t, std::less<>> engineNanoseconds;
        std::map<std::string, DRMClientUsage::Cycles, std::less<>> engineCycles;
        std::map<std::string, double, std::less<>> cycleNanoseconds;  // integrated from the cycles
    };

    std::optional<int64_t> previousAt_;
    std::map<Key, Seen> previous_;
};

}  // namespace orv
