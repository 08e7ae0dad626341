#include "Sampling/PowerSupplyDecoding.h"

#include <algorithm>
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

// A pack's figures in energy units (µWh, µW), converting charge (µAh, µA)
// at the design voltage when the driver gives one, else the present one.
struct Energy {
    std::optional<double> now;
    std::optional<double> full;
    std::optional<double> design;
    std::optional<double> rate;
};

Energy energy(const PowerSupplyEntry& battery) {
    auto voltage = magnitudeAt(battery, "voltage_min_design");
    if (!voltage || *voltage <= 0) voltage = magnitudeAt(battery, "voltage_now");
    auto either = [&](std::string_view energyKey, std::string_view chargeKey) -> std::optional<double> {
        if (auto e = magnitudeAt(battery, energyKey)) return e;
        auto charge = magnitudeAt(battery, chargeKey);
        if (!charge || !voltage || *voltage <= 0) return std::nullopt;
        return *charge * *voltage / 1e6;
    };
    Energy out;
    out.now = either("energy_now", "charge_now");
    out.full = either("energy_full", "charge_full");
    out.design = either("energy_full_design", "charge_full_design");
    if (auto power = magnitudeAt(battery, "power_now")) {
        out.rate = power;
    } else if (auto current = magnitudeAt(battery, "current_now"); current && magnitudeAt(battery, "voltage_now")) {
        out.rate = *current * *magnitudeAt(battery, "voltage_now") / 1e6;
    }
    return out;
}

// The sum of one figure over every pack; absent when any pack lacks it.
std::optional<double> sum(std::span<const Energy> packs, std::optional<double> Energy::*figure) {
    double total = 0;
    for (const Energy& pack : packs) {
        if (!(pack.*figure)) return std::nullopt;
        total += *(pack.*figure);
    }
    return total;
}

std::optional<int64_t> minutes(double hours) {
    if (!std::isfinite(hours) || hours < 0 || hours > 1e6) return std::nullopt;
    return static_cast<int64_t>(std::llround(hours * 60));
}

}  // namespace

namespace {

bool isSystemBattery(const PowerSupplyEntry& entry) {
    if (!textIs(entry, "type", "Battery")) return false;
    const std::string* scope = textAt(entry.attributes, "scope");
    if (scope != nullptr && *scope != "System") return false;
    return integerAt(entry.attributes, "present") != 0;
}

}  // namespace

const PowerSupplyEntry* systemBattery(std::span<const PowerSupplyEntry> entries) {
    for (const PowerSupplyEntry& entry : entries) {
        if (isSystemBattery(entry)) return &entry;
    }
    return nullptr;
}

std::vector<const PowerSupplyEntry*> systemBatteries(std::span<const PowerSupplyEntry> entries) {
    std::vector<const PowerSupplyEntry*> out;
    for (const PowerSupplyEntry& entry : entries) {
        if (isSystemBattery(entry)) out.push_back(&entry);
    }
    return out;
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
    if (auto cycles = integerAt(battery.attributes, "cycle_count"); cycles && *cycles > 0) out[cycleCountKey] = *cycles;

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

PropertyValue::Dictionary description(std::span<const PowerSupplyEntry> batteries, bool externalPower) {
    using namespace BatteryMath;
    if (batteries.size() == 1) return description(batteries.front(), externalPower);
    PropertyValue::Dictionary out;
    if (batteries.empty()) return out;
    bool discharging = std::any_of(batteries.begin(), batteries.end(), isDischarging);
    bool charging = !discharging && std::any_of(batteries.begin(), batteries.end(), isCharging);
    out[typeKey] = internalBatteryType;
    out[isPresentKey] = true;
    out[powerSourceStateKey] = externalPower ? acPowerState : "Battery Power";
    out[isChargingKey] = charging;

    std::vector<Energy> packs;
    for (const auto& battery : batteries) packs.push_back(energy(battery));
    auto now = sum(packs, &Energy::now);
    auto full = sum(packs, &Energy::full);
    if (now && full && *full > 0) {
        out[currentCapacityKey] = *now;
        out[maxCapacityKey] = *full;
    } else {
        // Packs without energy figures: the mean of their levels.
        double levels = 0;
        bool all = true;
        for (const auto& battery : batteries) {
            auto level = integerAt(battery.attributes, "capacity");
            all = all && level.has_value();
            levels += static_cast<double>(level.value_or(0));
        }
        if (all) {
            out[currentCapacityKey] = levels;
            out[maxCapacityKey] = 100.0 * static_cast<double>(batteries.size());
        }
    }

    double rate = 0;
    for (const Energy& pack : packs) rate += pack.rate.value_or(0);
    if (now && rate > 0) {
        if (discharging) {
            if (auto m = minutes(*now / rate)) out[timeToEmptyKey] = *m;
        } else if (charging && full && *full >= *now) {
            if (auto m = minutes((*full - *now) / rate)) out[timeToFullKey] = *m;
        }
    }
    return out;
}

PropertyValue::Dictionary smartBattery(std::span<const PowerSupplyEntry> batteries) {
    using namespace BatteryMath;
    if (batteries.size() == 1) return smartBattery(batteries.front());
    PropertyValue::Dictionary out;
    if (batteries.empty()) return out;
    std::optional<int64_t> cycles;
    for (const auto& battery : batteries) {
        auto count = integerAt(battery.attributes, "cycle_count");
        if (count && *count > 0) cycles = std::max(cycles.value_or(0), *count);
    }
    if (cycles) out[cycleCountKey] = *cycles;

    std::vector<Energy> packs;
    for (const auto& battery : batteries) packs.push_back(energy(battery));
    auto full = sum(packs, &Energy::full);
    auto design = sum(packs, &Energy::design);
    if (full && design) {
        out[nominalChargeCapacityKey] = static_cast<int64_t>(std::llround(*full / 1000));  // µWh to mWh
        out[designCapacityKey] = static_cast<int64_t>(std::llround(*design / 1000));
    }

    // The packs' summed power as a current at the highest pack voltage.
    std::optional<double> voltage;
    for (const auto& battery : batteries) {
        if (auto v = magnitudeAt(battery, "voltage_now"); v && *v > 0) voltage = std::max(voltage.value_or(0), *v);
    }
    bool anyRate = std::any_of(packs.begin(), packs.end(), [](const Energy& p) { return p.rate.has_value(); });
    if (voltage && anyRate) {
        double power = 0;
        for (const Energy& pack : packs) power += pack.rate.value_or(0);
        double milliamperes = power / *voltage * 1000;
        bool discharging = std::any_of(batteries.begin(), batteries.end(), isDischarging);
        out[amperageKey] = static_cast<int64_t>(std::llround(discharging ? -milliamperes : milliamperes));
        out[voltageKey] = static_cast<int64_t>(std::llround(*voltage / 1000));
    }
    return out;
}

}  // namespace orv::PowerSupplyDecoding
