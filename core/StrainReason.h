#pragma once

#include <boost/describe/enum.hpp>
#include <optional>
#include <string_view>

namespace orv {

// Why the machine is under strain. The declaration order is the priority:
// when several hold, the first one is the reason given. Written as the case
// name; any other string fails to decode.
enum class StrainReason { cpu, memory, disk, thermal };
BOOST_DESCRIBE_ENUM(StrainReason, cpu, memory, disk, thermal)

// The reason whose raw value is `raw`, or none for an unknown string.
std::optional<StrainReason> strainReasonFromRaw(std::string_view raw);

}  // namespace orv
