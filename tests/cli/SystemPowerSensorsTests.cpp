// The battery, GPU, thermal and sensor parts of `orvantine system`, run as
// the user runs it: whatever the machine has is shown and decodes as its
// record, and what it lacks is said in a line and left out of the JSON.

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <simdjson.h>
#include <string>

#include "core/BatteryStats.h"
#include "core/GPUStats.h"
#include "core/JsonCoding.h"
#include "support/CommandRunner.h"
#include "core/SensorStats.h"
#include "core/ThermalPressure.h"

namespace orv {
namespace {

using test::runOrvantine;


std::string member(const std::string& object, const char* key) {
    simdjson::dom::parser parser;
    simdjson::dom::element root = parser.parse(object);
    simdjson::dom::element value;
    if (root.at_key(key).get(value)) return {};
    return simdjson::minify(value);
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
    auto thermal = member(result.out, "thermal");
    ASSERT_FALSE(thermal.empty()) << result.out;
    EXPECT_NO_THROW(json::decode<ThermalPressure>(thermal));
    if (auto battery = member(result.out, "battery"); !battery.empty()) {
        EXPECT_NO_THROW(json::decode<BatteryStats>(battery));
    }
    if (auto gpu = member(result.out, "gpu"); !gpu.empty()) {
        EXPECT_NO_THROW(json::decode<GPUStats>(gpu));
    }
    if (auto sensors = member(result.out, "sensors"); !sensors.empty()) {
        EXPECT_NO_THROW(json::decode<SensorStats>(sensors));
    }
}

TEST_F(SystemPowerSensors, AMissingPartIsSaidInTextAndAbsentInJson) {
    auto text = runOrvantine("system --interval 0.05").out;
    auto object = runOrvantine("system --interval 0.05 --json").out;
    if (text.find("\nBattery  none\n") != std::string::npos) {
        EXPECT_TRUE(member(object, "battery").empty());
    }
    if (text.find("\nGPU      none\n") != std::string::npos) {
        EXPECT_TRUE(member(object, "gpu").empty());
    }
    if (text.find("\nSensors  none") != std::string::npos) {
        EXPECT_TRUE(member(object, "sensors").empty());
    }
}

}  // namespace
}  // namespace orv
