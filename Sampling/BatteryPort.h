#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "core/PropertyValue.h"

namespace orv {

// The platform's battery reads: IOKit's power-source list and the
// AppleSmartBattery registry service on macOS; power_supply attributes,
// shaped into the same dictionaries, on Linux.
class BatteryPort {
public:
    virtual ~BatteryPort() = default;

    // The power-source descriptions in the platform's order; absent when the
    // list cannot be had.
    virtual std::optional<std::vector<PropertyValue>> powerSourceDescriptions() = 0;

    // Finds and keeps the smart-battery service; false when there is none
    // (the next call searches again).
    virtual bool holdSmartBattery() = 0;
    virtual bool holdsSmartBattery() const = 0;
    // Lets the held service go.
    virtual void releaseSmartBattery() = 0;
    // The held service's values of `keys` that are present, in key order.
    virtual PropertyValue::Dictionary readSmartBattery(std::span<const std::string_view> keys) = 0;
};

// The running platform's port.
std::unique_ptr<BatteryPort> makeBatteryPort();

}  // namespace orv
