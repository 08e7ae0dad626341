#pragma once

#include <boost/describe/class.hpp>

#include "core/Date.h"
#include "core/RecordHash.h"

namespace orv {

// One point of a chart: a bucket's start, and the average and maximum of
// the figures that fell in it.
struct SeriesPoint {
    Date at;
    double average = 0;
    double maximum = 0;

    friend bool operator==(const SeriesPoint&, const SeriesPoint&) = default;
};
BOOST_DESCRIBE_STRUCT(SeriesPoint, (), (at, average, maximum))

}  // namespace orv
