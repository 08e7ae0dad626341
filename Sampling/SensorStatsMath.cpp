#include "Sampling/SensorStatsMath.h"

namespace orv::SensorStatsMath {

namespace {

using Kind = PeripheralBattery::Kind;

// Bluetooth Assigned Numbers, "Class of Device": the major class in bits
// 8-12, the minor in bits 2-7. For peripherals (major 5) the minor's top
// two bits say keyboard (01), pointing device (10) or both (11), and its
// low four bits 0101 a digitizer tablet.
std::optional<Kind> kindFromClass(uint32_t classOfDevice) {
    uint32_t major = (classOfDevice >> 8) & 0x1f;
    uint32_t minor = (classOfDevice >> 2) & 0x3f;
    if (major != 5) return std::nullopt;
    if ((minor & 0x0f) == 5) return Kind::trackpad;
    switch (minor & 0x30) {
        case 0x10: return Kind::keyboard;
        case 0x20: return Kind::mouse;
        case 0x30: return Kind::keyboard;
        default: return std::nullopt;
    }
}

// BlueZ's icon names are freedesktop icon names ("input-keyboard", "audio-headphones").
std::optional<Kind> kindFromIcon(std::string_view icon) {
    if (icon == "input-mouse") return Kind::mouse;
    if (icon == "input-keyboard") return Kind::keyboard;
    if (icon == "input-tablet" || icon == "input-touchpad") return Kind::trackpad;
    return std::nullopt;
}

std::optional<Kind> kindFromName(std::string_view name) {
    if (name.find("AirPods") != std::string_view::npos) return Kind::airPods;
    if (name.find("Trackpad") != std::string_view::npos) return Kind::trackpad;
    if (name.find("Mouse") != std::string_view::npos) return Kind::mouse;
    if (name.find("Keyboard") != std::string_view::npos) return Kind::keyboard;
    return std::nullopt;
}

}  // namespace

Kind kind(const BluetoothBatteries::Reading& reading) {
    // Only earbuds report separate left, right and case cells.
    if (reading.left || reading.right || reading.caseLevel) return Kind::airPods;
    if (reading.icon) {
        if (auto k = kindFromIcon(*reading.icon)) return *k;
    }
    if (reading.classOfDevice) {
        if (auto k = kindFromClass(*reading.classOfDevice)) return *k;
    }
    return kindFromName(reading.name).value_or(Kind::other);
}

std::vector<PeripheralBattery> peripherals(const BluetoothBatteries::Reading& reading) {
    std::vector<PeripheralBattery> out;
    Kind k = kind(reading);
    auto add = [&](const std::optional<int64_t>& level, const char* idSuffix, const char* nameSuffix) {
        if (!level) return;
        out.push_back({reading.address + idSuffix, reading.name + nameSuffix, k, static_cast<double>(*level)});
    };
    add(reading.single, "", "");
    add(reading.left, "-left", " (left)");
    add(reading.right, "-right", " (right)");
    add(reading.caseLevel, "-case", " (case)");
    return out;
}

std::vector<TemperatureReading> temperatures(const HIDTemperatures::Readings& readings) {
    std::vector<TemperatureReading> out;
    for (const auto& [name, celsius] : readings) {
        if (static_cast<int64_t>(out.size()) >= temperatureLimit) break;
        out.push_back({name, name, celsius});
    }
    return out;
}

std::optional<SensorStats> stats(const std::optional<HIDTemperatures::Readings>& temperatureMap,
                                 std::vector<FanReading> fans,
                                 std::span<const BluetoothBatteries::Reading> bluetooth) {
    SensorStats out;
    if (temperatureMap) out.temperatures = temperatures(*temperatureMap);
    out.fans = std::move(fans);
    for (const auto& reading : bluetooth) {
        for (auto& battery : peripherals(reading)) out.peripherals.push_back(std::move(battery));
    }
    if (out.temperatures.empty() && out.fans.empty() && out.peripherals.empty()) return std::nullopt;
    return out;
}

}  // namespace orv::SensorStatsMath
