#pragma once

#include <span>

#include "PrivateAPIs/PowerSupplyEntry.h"
#include "core/PropertyValue.h"

namespace orv {

// Turns power_supply attributes (see the kernel's
// Documentation/ABI/testing/sysfs-class-power) into the power-source
// description and smart-battery properties that BatteryMath reads.
// Units there: µWh, µAh, µW, µA, µV; times in seconds.
namespace PowerSupplyDecoding {

// The first entry of type Battery, scope System or unset, and present
// ("present" missing counts as present).
const PowerSupplyEntry* systemBattery(std::span<const PowerSupplyEntry> entries);

// True when a Mains or USB supply is online.
bool externalPowerOnline(std::span<const PowerSupplyEntry> entries);

PropertyValue::Dictionary description(const PowerSupplyEntry& battery, bool externalPower);
PropertyValue::Dictionary smartBattery(const PowerSupplyEntry& battery);

}  // namespace PowerSupplyDecoding

}  // namespace orv
