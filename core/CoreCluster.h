#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "core/RecordHash.h"

namespace orv {

// A topology level with its cores' mean busy percent over one interval.
struct CoreCluster {
    std::string name;
    int64_t level = 0;
    std::vector<int64_t> coreIndexes;  // the level's full list, also indexes past the core count
    double percent = 0;                // 0–100

    friend bool operator==(const CoreCluster&, const CoreCluster&) = default;
};
BOOST_DESCRIBE_STRUCT(CoreCluster, (), (name, level, coreIndexes, percent))

}  // namespace orv
