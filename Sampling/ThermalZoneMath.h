#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "PrivateAPIs/AttributeText.h"
#include "core/ThermalPressure.h"

namespace orv {

// One zone of the kernel's thermal class (Documentation/driver-api/thermal):
// its temperature and trip points, in millidegrees Celsius.
struct ThermalZone {
    struct TripPoint {
        std::string type;  // "active", "passive", "hot", "critical"
        int64_t temperature = 0;
    };
    std::optional<int64_t> temperature;
    std::vector<TripPoint> tripPoints;
};

// How Linux thermal state becomes a pressure level, the highest over all zones:
// - critical: a zone at or above a "hot" or "critical" trip point (the
//   kernel is about to shut the machine down or has been told it must);
// - serious: a zone at or above a "passive" trip point (the kernel is
//   throttling processors to cool down);
// - fair: a zone at or above an "active" trip point, or any cooling device
//   running (cur_state above 0): fans or throttling at work, no harm yet;
// - nominal otherwise.
namespace ThermalZoneMath {

// A zone folder's attributes (temp, trip_point_N_type, trip_point_N_temp).
ThermalZone zone(const AttributeText::Attributes& attributes);

ThermalPressure pressure(std::span<const ThermalZone> zones, bool coolingDeviceActive);

}  // namespace ThermalZoneMath

}  // namespace orv
