#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "PrivateAPIs/BluetoothBatteries.h"
#include "PrivateAPIs/PowerSupplyEntry.h"

namespace orv {

// What BlueZ publishes for one device object: its org.bluez.Device1
// properties and, when it reports one, org.bluez.Battery1's "Percentage".
struct BlueZDevice {
    std::string objectPath;
    std::optional<std::string> address;
    std::optional<std::string> alias;
    std::optional<std::string> icon;
    std::optional<uint32_t> classOfDevice;
    bool connected = false;
    std::optional<int64_t> percentage;
};

// Linux readings: connected BlueZ devices with a battery, then the kernel's
// peripheral batteries (power_supply entries of scope Device), as upower
// lists them:
// - those named after a Bluetooth address, for addresses BlueZ did not
//   report, one reading per address;
// - those without one (a Logitech receiver's "hidpp_battery_N", a USB HID
//   device's), known by their "serial_number", else by the entry's name,
//   and named by their "model_name", else by the entry's name.
// A level is "capacity", else "capacity_level" read as upower reads it;
// levels 1 to 100 only.
namespace BlueZDevices {

// upower's percent for a "capacity_level": Full 100, High 70, Normal 55,
// Low 10, Critical 5; absent for "Unknown" and anything else.
std::optional<int64_t> percentOfLevel(std::string_view level);

std::vector<BluetoothBatteries::Reading> readings(std::span<const BlueZDevice> devices,
                                                  std::span<const PowerSupplyEntry> powerSupplies);

// "AA:BB:CC:DD:EE:FF" (upper case) found in a power_supply name such as
// "hid-aa:bb:cc:dd:ee:ff-battery"; absent when there is none.
std::optional<std::string> addressInName(std::string_view name);

}  // namespace BlueZDevices

}  // namespace orv
