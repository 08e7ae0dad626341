#include "Sampling/BatterySampler.h"

#include <array>

#include "Sampling/BatteryMath.h"

namespace orv {

namespace {

constexpr std::array<std::string_view, 5> healthKeys{
    BatteryMath::cycleCountKey, BatteryMath::rawMaxCapacityKey, BatteryMath::nominalChargeCapacityKey,
    BatteryMath::designCapacityKey, BatteryMath::batteryDataKey};
constexpr std::array<std::string_view, 2> liveKeys{BatteryMath::amperageKey, BatteryMath::voltageKey};

}  // namespace

BatterySampler::BatterySampler(std::unique_ptr<BatteryPort> port, Clock clock)
    : port_(std::move(port)), clock_(std::move(clock)) {}

std::optional<BatteryStats> BatterySampler::sample() {
    std::lock_guard lock(mutex_);
    auto descriptions = port_->powerSourceDescriptions();
    if (!descriptions) return std::nullopt;
    const PropertyValue* description = BatteryMath::internalBattery(*descriptions);
    if (description == nullptr) return std::nullopt;
    auto smart = smartBatteryProperties();
    return BatteryMath::stats(*description, smart ? &*smart : nullptr);
}

std::optional<PropertyValue> BatterySampler::smartBatteryProperties() {
    if (!port_->holdsSmartBattery() && !port_->holdSmartBattery()) return std::nullopt;

    auto now = clock_();
    PropertyValue::Dictionary properties;
    if (health_ && now - health_->readAt < healthLifetime) {
        properties = health_->properties;
    } else {
        properties = port_->readSmartBattery(healthKeys);
        if (properties.empty()) health_.reset();
        else health_ = Health{properties, now};
    }

    auto live = port_->readSmartBattery(liveKeys);
    for (auto& [key, value] : live) properties.insert_or_assign(key, std::move(value));

    // Nothing read at all: the service went away; find it afresh next time.
    if ((live.empty() && !health_) || properties.empty()) {
        port_->releaseSmartBattery();
        health_.reset();
        return std::nullopt;
    }
    // Built in place: GCC 12 at -O3 misreads a moved variant temporary as uninitialised.
    return std::optional<PropertyValue>(std::in_place, std::move(properties));
}

}  // namespace orv
