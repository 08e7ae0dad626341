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
#include "core/SystemSample.h"
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

TEST_F(SystemPowerSensors, AMissingPartIsSaidInTextAndAbsentInJson) {
    auto text = runOrvantine("system --interval 0.05").out;
    auto object = runOrvantine("system --interval 0.05 --json").out;
    auto sample = json::decode<SystemSample>(object);
    if (text.find("\nBattery  none\n") != std::string::npos) {
        EXPECT_TRUE(member(object, "battery").empty());
        EXPECT_EQ(sample.battery, std::nullopt);
    }
    if (text.find("\nGPU      none\n") != std::string::npos) {
        EXPECT_TRUE(member(object, "gpu").empty());
        EXPECT_EQ(sample.gpu, std::nullopt);
    }
    if (text.find("\nSensors  none") != std::string::npos) {
        EXPECT_TRUE(member(object, "sensors").empty());
        EXPECT_EQ(sample.sensors, std::nullopt);
    }
}

}  // namespace
}  // namespace orv
