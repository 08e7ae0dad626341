#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "core/RecordHash.h"

namespace orv {

// One performance level: the logical cores (positions in the per-core tick
// array) that belong to it.
struct CPUTopologyLevel {
    std::string name;
    int64_t level = 0;                  // 0 is the highest-performance level
    std::vector<int64_t> coreIndexes;   // ascending

    friend bool operator==(const CPUTopologyLevel&, const CPUTopologyLevel&) = default;
};
BOOST_DESCRIBE_STRUCT(CPUTopologyLevel, (), (name, level, coreIndexes))

// The machine's performance levels, ordered by `level` ascending. Worked out
// once when the CPU sampler is made; it never changes afterwards.
struct CPUTopology {
    using Level = CPUTopologyLevel;

    std::vector<Level> levels;

    friend bool operator==(const CPUTopology&, const CPUTopology&) = default;
};
BOOST_DESCRIBE_STRUCT(CPUTopology, (), (levels))

}  // namespace orv
