#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>

#include "core/Date.h"
#include "core/RecordHash.h"

namespace orv {

// One sample of one app, as kept for judging alert rules.
struct AppActivityPoint {
    Date at;
    double cpuPercent = 0;
    uint64_t memoryBytes = 0;
    double diskWriteBPS = 0;
    std::optional<double> netInBPS;   // absent when unknown
    std::optional<double> netOutBPS;  // absent when unknown

    friend bool operator==(const AppActivityPoint&, const AppActivityPoint&) = default;
};
BOOST_DESCRIBE_STRUCT(AppActivityPoint, (), (at, cpuPercent, memoryBytes, diskWriteBPS, netInBPS, netOutBPS))

}  // namespace orv
