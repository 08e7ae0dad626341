#pragma once

#include <array>
#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/RecordHash.h"

namespace orv {

// Battery levels of connected Bluetooth peripherals: IOBluetooth's paired
// devices on macOS (main thread only, as the framework requires), BlueZ on
// the system bus plus the kernel's HID batteries on Linux.
namespace BluetoothBatteries {

struct Reading {
    std::string address;                 // the device's address text
    std::string name;                    // its display name
    std::optional<int64_t> single;       // percent, single-cell device
    std::optional<int64_t> left;         // percent, left unit
    std::optional<int64_t> right;        // percent, right unit
    std::optional<int64_t> caseLevel;    // percent, charging case
    // What the device says it is, for telling mice from keyboards: its
    // Bluetooth class of device and, on Linux, BlueZ's icon name.
    std::optional<uint32_t> classOfDevice;
    std::optional<std::string> icon;

    friend bool operator==(const Reading&, const Reading&) = default;
};
BOOST_DESCRIBE_STRUCT(Reading, (), (address, name, single, left, right, caseLevel, classOfDevice, icon))

// The level keys, in the order of the fields they fill.
inline constexpr std::array<const char*, 4> levelKeys{"batteryPercentSingle", "batteryPercentLeft",
                                                       "batteryPercentRight", "batteryPercentCase"};

// A device's reading from what it answered: raw levels in key order (only
// 1 to 100 count), the address text and the name-or-address text. Absent
// when no level counts.
std::optional<Reading> reading(const std::optional<std::string>& address,
                               const std::optional<std::string>& nameOrAddress,
                               const std::array<std::optional<int64_t>, 4>& rawLevels);

// The connected peripherals' readings, in the platform's device order.
std::vector<Reading> readings();

}  // namespace BluetoothBatteries

}  // namespace orv
