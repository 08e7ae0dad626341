#include "Sampling/BatteryMath.h"

#include <algorithm>
#include <cmath>

namespace orv::BatteryMath {

namespace {

std::optional<double> numberAt(const PropertyValue& dict, const char* key) {
    const PropertyValue* value = dict.find(key);
    return value == nullptr ? std::nullopt : value->number();
}

// An integer as the platform's number bridging reads it: a real is cut
// toward zero, a boolean is 0 or 1.
std::optional<int64_t> integerAt(const PropertyValue& dict, const char* key) {
    const PropertyValue* value = dict.find(key);
    if (value == nullptr) return std::nullopt;
    if (auto i = value->integer()) return i;
    if (auto d = value->number()) {
        if (!std::isfinite(*d)) return std::nullopt;
        return static_cast<int64_t>(std::clamp(*d, -9.2e18, 9.2e18));
    }
    if (auto b = value->boolean()) return *b ? 1 : 0;
    return std::nullopt;
}

std::optional<bool> booleanAt(const PropertyValue& dict, const char* key) {
    const PropertyValue* value = dict.find(key);
    if (value == nullptr) return std::nullopt;
    if (auto b = value->boolean()) return b;
    if (auto d = value->number()) return *d != 0;
    return std::nullopt;
}

}  // namespace

const PropertyValue* internalBattery(std::span<const PropertyValue> descriptions) {
    for (const PropertyValue& description : descriptions) {
        const PropertyValue* type = description.find(typeKey);
        if (type == nullptr || type->string() == nullptr || *type->string() != internalBatteryType) continue;
        // Only an explicit false skips: a missing or odd "Is Present" is used as it stands.
        if (booleanAt(description, isPresentKey) == false) continue;
        return &description;
    }
    return nullptr;
}

std::optional<BatteryStats> stats(const PropertyValue& description, const PropertyValue* smartBattery) {
    auto current = numberAt(description, currentCapacityKey);
    auto max = numberAt(description, maxCapacityKey);
    if (!current || !max || !(*max > 0)) return std::nullopt;

    BatteryStats out;
    const PropertyValue* state = description.find(powerSourceStateKey);
    bool onAC = state != nullptr && state->string() != nullptr && *state->string() == acPowerState;
    out.source = onAC ? BatteryStats::PowerSource::ac : BatteryStats::PowerSource::battery;

    double percent = *current / *max * 100;
    if (!(percent > 0)) percent = 0;
    out.percent = std::min(percent, 100.0);

    out.isCharging = booleanAt(description, isChargingKey).value_or(false);

    // 0 and negative minutes are the platform still estimating.
    if (auto minutes = integerAt(description, onAC ? timeToFullKey : timeToEmptyKey); minutes && *minutes >= 1) {
        out.timeRemaining = Duration::seconds(*minutes * 60);
    }

    if (smartBattery != nullptr) {
        out.cycleCount = integerAt(*smartBattery, cycleCountKey);
        out.maxCapacityPercent = maxCapacityPercent(*smartBattery);
        out.powerDrawWatts = powerDrawWatts(*smartBattery, onAC);
    }
    return out;
}

std::optional<double> maxCapacityPercent(const PropertyValue& smartBattery) {
    const PropertyValue* batteryData = smartBattery.find(batteryDataKey);
    if (batteryData != nullptr && batteryData->dictionary() == nullptr) batteryData = nullptr;

    auto full = numberAt(smartBattery, rawMaxCapacityKey);
    if (!full) full = numberAt(smartBattery, nominalChargeCapacityKey);
    if (!full && batteryData != nullptr) full = numberAt(*batteryData, nominalChargeCapacityKey);
    auto design = numberAt(smartBattery, designCapacityKey);
    if (!design && batteryData != nullptr) design = numberAt(*batteryData, designCapacityKey);

    if (!full || !design || !(*design > 0) || *full < 0) return std::nullopt;
    // A new battery can hold more than its design; that reads as 100.
    return std::min(*full / *design * 100, 100.0);
}

std::optional<double> powerDrawWatts(const PropertyValue& smartBattery, bool onAC) {
    auto amperage = integerAt(smartBattery, amperageKey);
    auto voltage = integerAt(smartBattery, voltageKey);
    if (!amperage || !voltage) return std::nullopt;
    // On AC a non-negative current means charging or idle: nothing drawn.
    // A negative one means the load outruns the adapter and is reported.
    if (onAC && *amperage >= 0) return 0.0;
    // mA × mV = µW.
    return std::fabs(static_cast<double>(*amperage) * static_cast<double>(*voltage)) / 1'000'000;
}

}  // namespace orv::BatteryMath
