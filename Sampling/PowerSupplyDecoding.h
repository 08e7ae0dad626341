#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "PrivateAPIs/PowerSupplyEntry.h"
#include "core/PropertyValue.h"

namespace orv {

// Turns power_supply attributes (see the kernel's
// Documentation/ABI/testing/sysfs-class-power) into the power-source
// description and smart-battery properties that BatteryMath reads.
// Units there: µWh, µAh, µW, µA, µV; times in seconds.
//
// A machine with two packs (BAT0 and BAT1) is one battery to its user, and
// is combined as upower combines it: energies, full and design capacities
// and rates summed (charge converted to energy at the pack's design
// voltage, else its present one), the level the summed energy over the
// summed full energy, discharging when any pack discharges, else charging
// when any charges, and the times from the sums. The cycle count is the
// highest any pack reports. A "cycle_count" of 0 is a driver that does not
// count, not a new pack: it is unknown.
namespace PowerSupplyDecoding {

// The attributes each read needs, so that a port opens nothing else: the
// kind of every entry (and whether an adapter is online), the description's
// figures, the slow-changing health and the live current and voltage.
inline constexpr std::string_view kindAttributes[] = {"type", "scope", "present", "online"};
inline constexpr std::string_view descriptionAttributes[] = {
    "status",      "capacity",   "energy_now",        "energy_full",      "power_now",
    "charge_now",  "charge_full", "current_now",      "voltage_now",      "voltage_min_design",
    "time_to_empty_now", "time_to_full_now"};
inline constexpr std::string_view healthAttributes[] = {"cycle_count",       "energy_full",        "energy_full_design",
                                                        "charge_full",       "charge_full_design", "voltage_min_design",
                                                        "voltage_now"};
inline constexpr std::string_view liveAttributes[] = {"status", "current_now", "power_now", "voltage_now"};

// The first entry of type Battery, scope System or unset, and present
// ("present" missing counts as present).
const PowerSupplyEntry* systemBattery(std::span<const PowerSupplyEntry> entries);

// Every such entry, in the list's order.
std::vector<const PowerSupplyEntry*> systemBatteries(std::span<const PowerSupplyEntry> entries);

// True when a Mains or USB supply is online.
bool externalPowerOnline(std::span<const PowerSupplyEntry> entries);

PropertyValue::Dictionary description(const PowerSupplyEntry& battery, bool externalPower);
PropertyValue::Dictionary smartBattery(const PowerSupplyEntry& battery);

// The same for the machine's packs together (one pack: as above).
PropertyValue::Dictionary description(std::span<const PowerSupplyEntry> batteries, bool externalPower);
PropertyValue::Dictionary smartBattery(std::span<const PowerSupplyEntry> batteries);

}  // namespace PowerSupplyDecoding

}  // namespace orv
