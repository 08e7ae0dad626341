#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>

#include "core/RecordHash.h"

namespace orv {

// One fan's speed, with the range its controller allows when it says.
struct FanReading {
    int64_t id = 0;
    double rpm = 0;
    std::optional<double> minRPM;
    std::optional<double> maxRPM;

    friend bool operator==(const FanReading&, const FanReading&) = default;
};
BOOST_DESCRIBE_STRUCT(FanReading, (), (id, rpm, minRPM, maxRPM))

}  // namespace orv
