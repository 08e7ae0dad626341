#pragma once

#include <boost/describe/enum.hpp>

namespace orv {

// The system's thermal pressure, in the order of the platform's thermal
// states 0 to 3; written as the case name.
enum class ThermalPressure { nominal, fair, serious, critical };
BOOST_DESCRIBE_ENUM(ThermalPressure, nominal, fair, serious, critical)

}  // namespace orv
