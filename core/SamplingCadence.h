#pragma once

#include <boost/describe/enum.hpp>

namespace orv {

// The two paces of the monitor's sampling loop; the intervals belong to it.
enum class SamplingCadence { idle, visible };
BOOST_DESCRIBE_ENUM(SamplingCadence, idle, visible)

}  // namespace orv
