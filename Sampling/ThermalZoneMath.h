#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
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
    // "mode": a disabled zone is one the kernel does not act on (user
    // space has taken it over, or the firmware's readings are bogus).
    bool enabled = true;
};

// How Linux thermal state becomes a pressure level, the highest over all zones:
// - critical: a zone at or above a "hot" or "critical" trip point (the
//   kernel is about to shut the machine down or has been told it must);
// - serious: a zone at or above a "passive" trip point (the kernel is
//   throttling processors to cool down);
// - fair: a zone at or above an "active" trip point, or a processor
//   throttling cooling device engaged (cur_state above 0): fans or
//   throttling at work, no harm yet;
// - nominal otherwise.
// Zones whose mode is "disabled" are left out. Of the cooling devices only
// those that slow the processors count: a fan spinning says nothing about
// pressure, and some are never at 0 (the firmware's "TCC Offset" holds the
// configured offset; a laptop's fan may idle at state 1).
namespace ThermalZoneMath {

// Whether a cooling device of this `type` throttles processors, following
// the kernel's names: ACPI processor throttling ("Processor"), cpufreq
// cooling ("cpufreq-cpu0", …), idle injection ("idle-cpu0", …) and Intel's
// "intel_powerclamp".
bool throttlesProcessors(std::string_view type);

}  // namespace ThermalZoneMath

namespace ThermalZoneMath {

// A zone folder's attributes (temp, mode, trip_point_N_type, trip_point_N_temp).
ThermalZone zone(const AttributeText::Attributes& attributes);

// `throttling`: a processor throttling cooling device is engaged.
ThermalPressure pressure(std::span<const ThermalZone> zones, bool throttling);

}  // namespace ThermalZoneMath

}  // namespace orv
