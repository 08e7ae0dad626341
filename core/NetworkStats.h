#pragma once

#include <boost/describe/class.hpp>
#include <optional>
#include <string>

#include "core/RecordHash.h"

namespace orv {

// Network throughput over one interval and the interface carrying the
// default route.
struct NetworkStats {
    double inBPS = 0;
    double outBPS = 0;
    std::optional<std::string> primaryInterface;

    friend bool operator==(const NetworkStats&, const NetworkStats&) = default;
};
BOOST_DESCRIBE_STRUCT(NetworkStats, (), (inBPS, outBPS, primaryInterface))

}  // namespace orv
