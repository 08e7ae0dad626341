#include "Sampling/PowerSupplyDecoding.h"

#include <cmath>
#include <cstdlib>

#include "Sampling/BatteryMath.h"

namespace orv::PowerSupplyDecoding {

namespace {

using AttributeText::integerAt;
using AttributeText::textAt;

bool textIs(const PowerSupplyEntry& entry, std::string_view key, std::string_view value) {
    const std::string* text = textAt(entry.attributes, key);
    return text != nullptr && *text == value;
}

bool isCharging(const PowerSupplyEntry& battery) { return textIs(battery, "status", "Charging"); }
bool isDischarging(const PowerSupplyEntry& battery) { return textIs(battery, "status", "Discharging"); }

// Drivers disagree on the sign of current and power, so only magnitudes
// are taken from them.
std::optional<double> magnitudeAt(const PowerSupplyEntry& entry, std::string_view key) {
    auto value = integerAt(entry.attributes, key);
    if (!value) return std::nullopt;
    return std::fabs(static_cast<double>(*value));
}

// Energy attributes when the driver has them, else charge ones: the level,
// the full level and the rate, in one family of units so they divide.
struct Reserve {
    std::optional<double> now;
    std::optional<double> full;
    std::optional<double> rate;
};

Reserve reserve(const PowerSupplyEntry& battery) {
    Reserve out;
    auto energyNow = magnitudeAt(battery, "energy_now");
    auto powerNow = magnitudeAt(battery, "power_now");
    if (energyNow && powerNow) {
        return {energyNow, magnitudeAt(battery, "energy_full"), powerNow};
    }
    auto chargeNow = magnitudeAt(battery, "charge_now");
    auto currentNow = magnitudeAt(battery, "current_now");
    if (chargeNow && currentNow) {
        return {chargeNow, magnitudeAt(battery, "charge_full"), currentNow};
    }
    return out;
}

std::optional<int64_t> minutes(double hours) {
    if (!std::isfinite(hours) || hours < 0 || hours > 1e6) return std::nullopt;
    return static_cast<int64_t>(std::llround(hours * 60));
}

}  // namespace

const PowerSupplyEntry* systemBattery(std::span<const PowerSupplyEntry> entries) {
    for (const PowerSupplyEntry& entry : entries) {
        if (!textIs(entry, "type", "Battery")) continue;
        const std::string* scope = textAt(entry.attributes, "scope");
        if (scope != nullptr && *scope != "System") continue;
        if (integerAt(entry.attributes, "present") == 0) continue;
        return &entry;
    }
    return nullptr;
}

bool externalPowerOnline(std::span<const PowerSupplyEntry> entries) {
    for (const PowerSupplyEntry& entry : entries) {
        if (!textIs(entry, "type", "Mains") && !textIs(entry, "type", "USB")) continue;
        if (integerAt(entry.attributes, "online").value_or(0) > 0) return true;
    }
    return false;
}

PropertyValue::Dictionary description(const PowerSupplyEntry& battery, bool externalPower) {
    using namespace BatteryMath;
    PropertyValue::Dictionary out;
    out[typeKey] = internalBatteryType;
    out[isPresentKey] = true;
    out[powerSourceStateKey] = externalPower ? acPowerState : "Battery Power";
    out[isChargingKey] = isCharging(battery);

    Reserve r = reserve(battery);
    if (auto capacity = integerAt(battery.attributes, "capacity")) {
        out[currentCapacityKey] = *capacity;
        out[maxCapacityKey] = int64_t{100};
    } else if (r.now && r.full) {
        // Drivers without "capacity" still give the level and the full level.
        out[currentCapacityKey] = *r.now;
        out[maxCapacityKey] = *r.full;
    }

    if (auto seconds = integerAt(battery.attributes, "time_to_empty_now")) {
        out[timeToEmptyKey] = *seconds / 60;
    } else if (isDischarging(battery) && r.now && r.rate && *r.rate > 0) {
        if (auto m = minutes(*r.now / *r.rate)) out[timeToEmptyKey] = *m;
    }
    if (auto seconds = integerAt(battery.attributes, "time_to_full_now")) {
        out[timeToFullKey] = *seconds / 60;
    } else if (isCharging(battery) && r.now && r.full && r.rate && *r.rate > 0 && *r.full >= *r.now) {
        if (auto m = minutes((*r.full - *r.now) / *r.rate)) out[timeToFullKey] = *m;
    }
    return out;
}

PropertyValue::Dictionary smartBattery(const PowerSupplyEntry& battery) {
    using namespace BatteryMath;
    PropertyValue::Dictionary out;
    if (auto cycles = integerAt(battery.attributes, "cycle_count")) out[cycleCountKey] = *cycles;

    // Full and design from one family, so that their ratio is the health.
    for (std::string_view family : {"energy", "charge"}) {
        auto full = integerAt(battery.attributes, std::string(family) + "_full");
        auto design = integerAt(battery.attributes, std::string(family) + "_full_design");
        if (!full && !design) continue;
        if (full) out[nominalChargeCapacityKey] = *full / 1000;  // µWh/µAh to mWh/mAh
        if (design) out[designCapacityKey] = *design / 1000;
        break;
    }

    auto voltage = magnitudeAt(battery, "voltage_now");
    std::optional<double> milliamperes;
    if (auto current = magnitudeAt(battery, "current_now")) {
        milliamperes = *current / 1000;
    } else if (auto power = magnitudeAt(battery, "power_now"); power && voltage && *voltage > 0) {
        milliamperes = *power / *voltage * 1000;  // µW / µV = A
    }
    if (milliamperes) {
        double signedCurrent = isDischarging(battery) ? -*milliamperes : *milliamperes;
        out[amperageKey] = static_cast<int64_t>(std::llround(signedCurrent));
    }
    if (voltage) out[voltageKey] = static_cast<int64_t>(std::llround(*voltage / 1000));
    return out;
}

}  // namespace orv::PowerSupplyDecoding
