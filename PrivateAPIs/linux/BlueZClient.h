#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "PrivateAPIs/BlueZDevices.h"

namespace orv {

struct BlueZOptions {
    // A D-Bus address ("unix:path=…"); empty means the system bus.
    std::string busAddress;
    // Where sys/class/power_supply is found, for the kernel's HID batteries.
    std::filesystem::path root = "/";
    // How long BlueZ may take to answer.
    uint64_t timeoutMicroseconds = 1'000'000;
};

namespace BlueZClient {

// BlueZ's device objects from org.freedesktop.DBus.ObjectManager's
// GetManagedObjects on "org.bluez", in object-path order; absent without a
// bus or without BlueZ.
std::optional<std::vector<BlueZDevice>> devices(const BlueZOptions& options);

// Readings from BlueZ and the kernel's HID batteries.
std::vector<BluetoothBatteries::Reading> readings(const BlueZOptions& options);

}  // namespace BlueZClient

}  // namespace orv
