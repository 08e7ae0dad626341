#include "Sampling/ThermalZoneMath.h"

#include <algorithm>

namespace orv::ThermalZoneMath {

bool throttlesProcessors(std::string_view type) {
    return type == "Processor" || type == "intel_powerclamp" || type.starts_with("cpufreq-") ||
           type.starts_with("idle-");
}

ThermalZone zone(const AttributeText::Attributes& attributes) {
    ThermalZone out;
    out.temperature = AttributeText::integerAt(attributes, "temp");
    const std::string* mode = AttributeText::textAt(attributes, "mode");
    out.enabled = mode == nullptr || AttributeText::trimmed(*mode) != "disabled";
    constexpr std::string_view prefix = "trip_point_";
    constexpr std::string_view typeSuffix = "_type";
    for (const auto& [name, value] : attributes) {
        std::string_view key = name;
        if (!key.starts_with(prefix) || !key.ends_with(typeSuffix)) continue;
        std::string index(key.substr(prefix.size(), key.size() - prefix.size() - typeSuffix.size()));
        auto temperature = AttributeText::integerAt(attributes, std::string(prefix) + index + "_temp");
        if (!temperature) continue;
        out.tripPoints.push_back({std::string(AttributeText::trimmed(value)), *temperature});
    }
    return out;
}

ThermalPressure pressure(std::span<const ThermalZone> zones, bool throttling) {
    ThermalPressure level = throttling ? ThermalPressure::fair : ThermalPressure::nominal;
    for (const ThermalZone& z : zones) {
        if (!z.temperature || !z.enabled) continue;
        for (const auto& trip : z.tripPoints) {
            // A trip at or below 0 m°C is a placeholder some firmware leaves.
            if (trip.temperature <= 0 || *z.temperature < trip.temperature) continue;
            ThermalPressure reached = ThermalPressure::nominal;
            if (trip.type == "critical" || trip.type == "hot") reached = ThermalPressure::critical;
            else if (trip.type == "passive") reached = ThermalPressure::serious;
            else if (trip.type == "active") reached = ThermalPressure::fair;
            level = std::max(level, reached);
        }
    }
    return level;
}

}  // namespace orv::ThermalZoneMath
