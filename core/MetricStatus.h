#pragma once

#include <boost/describe/enum.hpp>
#include <string_view>

namespace orv {

// How worrying a level is. Ordered: a later case is greater (the enum's
// built-in comparison), so the worst of several is their maximum.
enum class MetricStatus { normal, elevated, critical };
BOOST_DESCRIBE_ENUM(MetricStatus, normal, elevated, critical)

// "Normal", "Elevated", "Critical".
std::string_view metricStatusTitle(MetricStatus status);
// A percentage's grade: critical from 85, elevated from 50 (both inclusive).
MetricStatus gradePercent(double percent);

}  // namespace orv
