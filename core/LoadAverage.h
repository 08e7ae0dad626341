#pragma once

#include <boost/describe/class.hpp>

#include "core/RecordHash.h"

namespace orv {

// The kernel's 1-, 5- and 15-minute load averages.
struct LoadAverage {
    double one = 0;
    double five = 0;
    double fifteen = 0;

    static constexpr LoadAverage zero() { return {}; }

    friend bool operator==(const LoadAverage&, const LoadAverage&) = default;
};
BOOST_DESCRIBE_STRUCT(LoadAverage, (), (one, five, fifteen))

}  // namespace orv
