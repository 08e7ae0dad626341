#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "Sampling/BatterySampler.h"
#include "Sampling/linux/BatteryPortLinux.h"
#include "Sampling/linux/SensorsReaderLinux.h"
#include "Sampling/linux/ThermalZonesLinux.h"
#include "support/TempDir.h"

// Our figures against the same figures computed from this machine's /sys by
// the rule of the tool a Linux user would check them with, in the same run.
// Where the machine has no such device the test says so and skips.

namespace orv {
namespace {

namespace fs = std::filesystem;

// A sysfs attribute as text, read plainly (none of our readers).
std::optional<std::string> attribute(const fs::path& file) {
    std::ifstream in(file);
    std::string text;
    if (!in || !std::getline(in, text)) return std::nullopt;
    return text;
}

std::optional<double> number(const fs::path& file) {
    auto text = attribute(file);
    if (!text) return std::nullopt;
    try {
        size_t used = 0;
        double value = std::stod(*text, &used);
        return used > 0 ? std::optional(value) : std::nullopt;
    } catch (...) {
        return std::nullopt;
    }
}

std::vector<fs::path> entries(const fs::path& folder) {
    std::vector<fs::path> out;
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        out.push_back(it->path());
    }
    return out;
}

// sensors(1): every chip's tempN_input over 1000, °C.
std::vector<double> sensorsTemperatures(const fs::path& root) {
    std::vector<double> out;
    static const std::regex input("temp[0-9]+_input");
    for (const auto& chip : entries(root / "sys/class/hwmon")) {
        for (const auto& file : entries(chip)) {
            if (!std::regex_match(file.filename().string(), input)) continue;
            if (auto milli = number(file)) out.push_back(*milli / 1000);
        }
    }
    std::sort(out.begin(), out.end());
    return out;
}

std::vector<double> sensorsFans(const fs::path& root) {
    std::vector<double> out;
    static const std::regex input("fan[0-9]+_input");
    for (const auto& chip : entries(root / "sys/class/hwmon")) {
        for (const auto& file : entries(chip)) {
            if (!std::regex_match(file.filename().string(), input)) continue;
            if (auto rpm = number(file)) out.push_back(*rpm);
        }
    }
    std::sort(out.begin(), out.end());
    return out;
}

// Each comparison below returns false when the tree has no such device.
bool temperaturesAgree(const fs::path& root) {
    auto expected = sensorsTemperatures(root);
    if (expected.empty()) return false;
    auto hardware = readHwmonHardware(root);
    EXPECT_TRUE(hardware.temperatures);
    if (!hardware.temperatures) return true;
    std::vector<double> ours;
    for (const auto& [name, celsius] : *hardware.temperatures) ours.push_back(celsius);
    std::sort(ours.begin(), ours.end());
    // At most 64 are kept; below that every input is one of ours.
    if (expected.size() <= 64) {
        EXPECT_EQ(ours.size(), expected.size());
    }
    // Sensors move between the two reads; a couple of degrees is the same reading.
    for (double celsius : ours) {
        auto nearer = [&](double a, double b) { return std::fabs(a - celsius) < std::fabs(b - celsius); };
        auto closest = std::min_element(expected.begin(), expected.end(), nearer);
        EXPECT_NEAR(*closest, celsius, 2.0);
    }
    return true;
}

bool fansAgree(const fs::path& root) {
    auto expected = sensorsFans(root);
    if (expected.empty()) return false;
    auto hardware = readHwmonHardware(root);
    std::vector<double> ours;
    for (const auto& fan : hardware.fans) ours.push_back(fan.rpm);
    std::sort(ours.begin(), ours.end());
    EXPECT_EQ(ours.size(), expected.size());
    for (size_t i = 0; i < std::min(ours.size(), expected.size()); ++i) {
        EXPECT_NEAR(ours[i], expected[i], std::max(100.0, expected[i] * 0.1));
    }
    return true;
}

// The kernel's own view: an enabled zone at or past a trip point of its
// type, or a processor throttling device engaged.
bool thermalAgrees(const fs::path& root) {
    int zones = 0;
    ThermalPressure expected = ThermalPressure::nominal;
    for (const auto& entry : entries(root / "sys/class/thermal")) {
        auto name = entry.filename().string();
        if (name.starts_with("cooling_device")) {
            auto type = attribute(entry / "type").value_or("");
            bool processor = type == "Processor" || type == "intel_powerclamp" || type.starts_with("cpufreq-") ||
                             type.starts_with("idle-");
            if (processor && number(entry / "cur_state").value_or(0) > 0) {
                expected = std::max(expected, ThermalPressure::fair);
            }
            continue;
        }
        if (!name.starts_with("thermal_zone")) continue;
        ++zones;
        if (attribute(entry / "mode") == "disabled") continue;
        auto temp = number(entry / "temp");
        if (!temp) continue;
        for (int trip = 0; trip < 64; ++trip) {
            auto type = attribute(entry / ("trip_point_" + std::to_string(trip) + "_type"));
            auto at = number(entry / ("trip_point_" + std::to_string(trip) + "_temp"));
            if (!type || !at || *at <= 0 || *temp < *at) continue;
            if (*type == "critical" || *type == "hot") expected = std::max(expected, ThermalPressure::critical);
            else if (*type == "passive") expected = std::max(expected, ThermalPressure::serious);
            else if (*type == "active") expected = std::max(expected, ThermalPressure::fair);
        }
    }
    if (zones == 0) return false;
    EXPECT_EQ(thermalPressure(root), expected);
    return true;
}

// upower's display battery: the system packs' energies summed, the level
// their sum over the full sum (one pack: its "capacity" when it has one).
bool batteryAgrees(const fs::path& root) {
    std::vector<fs::path> packs;
    for (const auto& entry : entries(root / "sys/class/power_supply")) {
        if (attribute(entry / "type") != "Battery") continue;
        auto scope = attribute(entry / "scope");
        if (scope && *scope != "System") continue;
        if (number(entry / "present") == 0.0) continue;
        packs.push_back(entry);
    }
    if (packs.empty()) return false;
    std::optional<double> expected;
    if (packs.size() == 1 && number(packs[0] / "capacity")) {
        expected = number(packs[0] / "capacity");
    } else {
        double now = 0, full = 0;
        bool all = true;
        for (const auto& pack : packs) {
            auto voltage = number(pack / "voltage_min_design");
            if (!voltage || *voltage <= 0) voltage = number(pack / "voltage_now");
            auto n = number(pack / "energy_now");
            auto f = number(pack / "energy_full");
            if (auto c = number(pack / "charge_now"); !n && c && voltage) n = *c * *voltage / 1e6;
            if (auto c = number(pack / "charge_full"); !f && c && voltage) f = *c * *voltage / 1e6;
            all = all && n && f;
            now += n.value_or(0);
            full += f.value_or(0);
        }
        if (all && full > 0) expected = std::min(now / full * 100, 100.0);
    }
    if (!expected) return false;
    BatterySampler sampler(makeBatteryPort(root));
    auto stats = sampler.sample();
    EXPECT_TRUE(stats);
    if (stats) {
        EXPECT_NEAR(stats->percent, *expected, 1.0);
    }
    return true;
}

TEST(SensorsLive, TemperaturesAgreeWithSensors) {
    if (!temperaturesAgree("/")) GTEST_SKIP() << "this machine has no hwmon temperature inputs (/sys/class/hwmon)";
}

TEST(SensorsLive, FansAgreeWithSensors) {
    if (!fansAgree("/")) GTEST_SKIP() << "this machine has no hwmon fan inputs (/sys/class/hwmon)";
}

TEST(SensorsLive, ThermalPressureAgreesWithTheZonesAndCoolingDevices) {
    if (!thermalAgrees("/")) GTEST_SKIP() << "this machine has no thermal zones (/sys/class/thermal is empty)";
}

TEST(SensorsLive, BatteryLevelAgreesWithUpower) {
    if (!batteryAgrees("/")) {
        GTEST_SKIP() << "this machine has no system battery with a level (/sys/class/power_supply is empty)";
    }
}

// The same comparisons over a laptop's tree, so that they are known to
// compare something where a machine has the devices.
TEST(SensorsAgreement, TheComparisonsHoldOnALaptopsTree) {
    test::TempDir dir;
    dir.write("sys/class/hwmon/hwmon0/name", "coretemp\n");
    dir.write("sys/class/hwmon/hwmon0/temp1_input", "52000\n");
    dir.write("sys/class/hwmon/hwmon0/temp2_input", "49500\n");
    dir.write("sys/class/hwmon/hwmon1/name", "thinkpad\n");
    dir.write("sys/class/hwmon/hwmon1/fan1_input", "2400\n");
    dir.write("sys/class/hwmon/hwmon1/temp1_input", "45000\n");
    dir.write("sys/class/thermal/thermal_zone0/temp", "90000\n");
    dir.write("sys/class/thermal/thermal_zone0/trip_point_0_type", "passive\n");
    dir.write("sys/class/thermal/thermal_zone0/trip_point_0_temp", "85000\n");
    dir.write("sys/class/thermal/cooling_device0/type", "TCC Offset\n");
    dir.write("sys/class/thermal/cooling_device0/cur_state", "10\n");
    for (const char* pack : {"BAT0", "BAT1"}) {
        std::string base = std::string("sys/class/power_supply/") + pack + "/";
        dir.write(base + "type", "Battery\n");
        dir.write(base + "status", "Discharging\n");
        dir.write(base + "energy_now", pack == std::string("BAT0") ? "20000000\n" : "5000000\n");
        dir.write(base + "energy_full", "25000000\n");
        dir.write(base + "power_now", "5000000\n");
    }
    EXPECT_TRUE(temperaturesAgree(dir.path()));
    EXPECT_TRUE(fansAgree(dir.path()));
    EXPECT_TRUE(thermalAgrees(dir.path()));
    EXPECT_TRUE(batteryAgrees(dir.path()));
}

}  // namespace
}  // namespace orv
