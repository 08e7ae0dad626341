#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "PrivateAPIs/BluetoothBatteries.h"

namespace orv {

// The few questions the macOS reader asks of IOBluetooth and of the app,
// so that its rules run (and are tested) apart from the Objective-C calls.
class PairedDevice {
public:
    virtual ~PairedDevice() = default;
    virtual bool isConnected() const = 0;
    // Whether the device object answers to a selector of the key's name:
    // not every device class has the level properties.
    virtual bool respondsTo(std::string_view key) const = 0;
    // valueForKey: of the key, as an integer when the value is a number.
    virtual std::optional<int64_t> integerValue(std::string_view key) const = 0;
    virtual std::optional<std::string> addressString() const = 0;
    virtual std::optional<std::string> nameOrAddress() const = 0;
    virtual std::optional<uint32_t> classOfDevice() const = 0;
};

class BluetoothFramework {
public:
    // CBManagerAuthorization's "allowed always".
    static constexpr int64_t allowedAlways = 3;

    virtual ~BluetoothFramework() = default;
    // The app's Info.plist has "NSBluetoothAlwaysUsageDescription".
    virtual bool declaresBluetoothUsage() = 0;
    virtual int64_t authorization() = 0;
    // Absent when there is no list or an element is not a device.
    virtual std::optional<std::vector<std::unique_ptr<PairedDevice>>> pairedDevices() = 0;
};

namespace BluetoothBatteries {

// The readings of the connected paired devices, in list order; nothing is
// asked of any device without the usage declaration and authorisation.
std::vector<Reading> readings(BluetoothFramework& framework);

}  // namespace BluetoothBatteries

}  // namespace orv
