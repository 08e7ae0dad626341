// The battery, GPU, thermal and sensor parts of `orvantine system`, run as
// the user runs it: whatever the machine has is shown and decodes as its
// record, and what it lacks is said in a line and left out of the JSON.

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "core/BatteryStats.h"
#include "core/GPUStats.h"
#include "core/JsonCoding.h"
#include "support/CommandRunner.h"
#include "core/SensorStats.h"
#include "core/SystemSample.h"
#include "core/ThermalPressure.h"

namespace orv {
namespace {

using test::runOrvantine;


// The text of the top-level member `key` of a JSON object, as written, or
// empty when there is none. Strings are stepped over whole, so a key or a
// brace inside one does not count.
std::string member(const std::string& object, const char* key) {
    const std::string quoted = std::string("\"") + key + "\"";
    int depth = 0;
    for (size_t at = 0; at < object.size(); ++at) {
        const char c = object[at];
        if (c == '"') {
            size_t end = at + 1;
            while (end < object.size() && object[end] != '"') end += object[end] == '\\' ? 2 : 1;
            if (depth == 1 && object.compare(at, end + 1 - at, quoted) == 0 && end + 1 < object.size() &&
                object[end + 1] == ':') {
                size_t start = end + 2, stop = start;
                int inner = 0;
                for (; stop < object.size(); ++stop) {
                    const char d = object[stop];
                    if (d == '"') {
                        for (++stop; stop < object.size() && object[stop] != '"';) stop += object[stop] == '\\' ? 2 : 1;
                    } else if (d == '{' || d == '[') {
                        ++inner;
                    } else if (d == '}' || d == ']') {
                        if (inner == 0) break;
                        --inner;
                    } else if (d == ',' && inner == 0) {
                        break;
                    }
                }
                return object.substr(start, stop - start);
            }
            at = end;
        } else if (c == '{' || c == '[') {
            ++depth;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return {};
}

class SystemPowerSensors : public test::OrvantineCommandTest {};

TEST_F(SystemPowerSensors, TextHasALineForEachPart) {
    auto result = runOrvantine("system --interval 0.05");
    ASSERT_EQ(result.status, 0) << result.out;
    for (const char* heading : {"\nBattery  ", "\nGPU      ", "\nThermal  ", "\nSensors  "}) {
        EXPECT_NE(result.out.find(heading), std::string::npos) << heading << " missing in\n" << result.out;
    }
}

TEST_F(SystemPowerSensors, JsonMembersDecodeAsTheirRecords) {
    auto result = runOrvantine("system --interval 0.05 --json");
    ASSERT_EQ(result.status, 0) << result.out;
    SystemSample sample;
    ASSERT_NO_THROW(sample = json::decode<SystemSample>(result.out)) << result.out;
    auto thermal = member(result.out, "thermal");
    ASSERT_FALSE(thermal.empty()) << result.out;
    EXPECT_EQ(json::decode<ThermalPressure>(thermal), sample.thermal);
    if (auto battery = member(result.out, "battery"); !battery.empty()) {
        EXPECT_EQ(json::decode<BatteryStats>(battery), sample.battery);
    }
    if (auto gpu = member(result.out, "gpu"); !gpu.empty()) {
        EXPECT_EQ(json::decode<GPUStats>(gpu), sample.gpu);
    }
    if (auto sensors = member(result.out, "sensors"); !sensors.empty()) {
        EXPECT_EQ(json::decode<SensorStats>(sensors), sample.sensors);
    }
}

// Whatever the machine has, the two forms agree part by part: a part the text
// calls "none" is left out of the JSON, and a part the text shows is there.
TEST_F(SystemPowerSensors, TextAndJsonAgreeOnWhichPartsThisMachineHas) {
    auto text = runOrvantine("system --interval 0.05").out;
    auto object = runOrvantine("system --interval 0.05 --json").out;
    auto sample = json::decode<SystemSample>(object);
    const bool batteryNone = text.find("\nBattery  none\n") != std::string::npos;
    const bool gpuNone = text.find("\nGPU      none\n") != std::string::npos;
    const bool sensorsNone = text.find("\nSensors  none") != std::string::npos;
    EXPECT_EQ(batteryNone, member(object, "battery").empty()) << text << object;
    EXPECT_EQ(batteryNone, !sample.battery.has_value());
    EXPECT_EQ(gpuNone, member(object, "gpu").empty()) << text << object;
    EXPECT_EQ(gpuNone, !sample.gpu.has_value());
    EXPECT_EQ(sensorsNone, member(object, "sensors").empty()) << text << object;
    EXPECT_EQ(sensorsNone, !sample.sensors.has_value());
}

// The battery line says what sysfs says: a system battery (type Battery,
// present, scope System or unstated; a peripheral's scope is Device) is
// shown, and none is said only where there is none.
TEST_F(SystemPowerSensors, BatteryIsShownExactlyWhenSysfsHasOne) {
    bool hasBattery = false;
    std::error_code error;
    for (const auto& supply : std::filesystem::directory_iterator("/sys/class/power_supply", error)) {
        auto read = [&](const char* name) {
            std::ifstream in(supply.path() / name);
            std::string value;
            std::getline(in, value);
            return value;
        };
        const std::string scope = read("scope");
        if (read("type") == "Battery" && (scope.empty() || scope == "System") && read("present") != "0") {
            hasBattery = true;
        }
    }
    auto text = runOrvantine("system --interval 0.05").out;
    EXPECT_EQ(text.find("\nBattery  none\n") == std::string::npos, hasBattery) << text;
}

}  // namespace
}  // namespace orv
