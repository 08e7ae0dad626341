#pragma once

#include <boost/describe/class.hpp>
#include <string>

#include "core/RecordHash.h"

namespace orv {

// One temperature sensor's value.
struct TemperatureReading {
    std::string id;
    std::string name;
    double celsius = 0;

    friend bool operator==(const TemperatureReading&, const TemperatureReading&) = default;
};
BOOST_DESCRIBE_STRUCT(TemperatureReading, (), (id, name, celsius))

}  // namespace orv
