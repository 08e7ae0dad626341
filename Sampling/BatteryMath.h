#pragma once

#include <optional>
#include <span>

#include "core/BatteryStats.h"
#include "core/PropertyValue.h"

namespace orv {

// Battery figures from a power-source description and the smart battery's
// registry properties, both as property dictionaries (CoreFoundation values
// converted on macOS, built from power_supply attributes on Linux).
namespace BatteryMath {

// Description keys of the power-source list.
inline constexpr const char* typeKey = "Type";
inline constexpr const char* isPresentKey = "Is Present";
inline constexpr const char* currentCapacityKey = "Current Capacity";
inline constexpr const char* maxCapacityKey = "Max Capacity";
inline constexpr const char* powerSourceStateKey = "Power Source State";
inline constexpr const char* isChargingKey = "Is Charging";
inline constexpr const char* timeToFullKey = "Time to Full Charge";
inline constexpr const char* timeToEmptyKey = "Time to Empty";
inline constexpr const char* internalBatteryType = "InternalBattery";
inline constexpr const char* acPowerState = "AC Power";

// Smart-battery registry keys.
inline constexpr const char* cycleCountKey = "CycleCount";
inline constexpr const char* rawMaxCapacityKey = "AppleRawMaxCapacity";
inline constexpr const char* nominalChargeCapacityKey = "NominalChargeCapacity";
inline constexpr const char* designCapacityKey = "DesignCapacity";
inline constexpr const char* batteryDataKey = "BatteryData";
inline constexpr const char* amperageKey = "Amperage";
inline constexpr const char* voltageKey = "Voltage";

// The first present internal battery of a power-source list, in list order.
const PropertyValue* internalBattery(std::span<const PropertyValue> descriptions);

// Absent without "Current Capacity" or a positive "Max Capacity".
std::optional<BatteryStats> stats(const PropertyValue& description, const PropertyValue* smartBattery);

// Full-charge capacity as a percent of design, at most 100.
std::optional<double> maxCapacityPercent(const PropertyValue& smartBattery);

// Watts taken from the battery; 0 on AC while the battery charges or idles.
std::optional<double> powerDrawWatts(const PropertyValue& smartBattery, bool onAC);

}  // namespace BatteryMath

}  // namespace orv
