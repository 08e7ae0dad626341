#pragma once

#include <boost/describe/enum.hpp>

namespace orv {

// The kernel's verdict on memory pressure; written as its case name.
enum class MemoryPressure { normal, warning, critical };
BOOST_DESCRIBE_ENUM(MemoryPressure, normal, warning, critical)

}  // namespace orv
