#pragma once

#include <cstdint>

namespace orv {

// How many times each kind of proc read was made: what tests and the
// benchmark compare to tell which files a pass read.
struct ProcReadCounts {
    uint64_t stat = 0, statm = 0, schedstat = 0, io = 0, owner = 0, listings = 0;
    uint64_t threadSchedstat = 0, threadListings = 0;
    uint64_t malformedStat = 0;  // reads of stat that did not decode
    bool operator==(const ProcReadCounts&) const = default;
};

}  // namespace orv
