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
#include "core/SensorStats.h"
#include "core/ThermalPressure.h"

namespace orv {
namespace {

std::filesystem::path program() { return std::filesystem::path(ORVANTINE_BINARY_DIR) / "cli" / "orvantine"; }

struct Run {
    int status = -1;
    std::string output;
};

// Standard output only: log lines on the error stream are not the report.
Run run(const std::string& arguments) {
    Run result;
    std::string command = program().string() + " " + arguments + " 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    std::array<char, 65536> buffer{};
    size_t n = 0;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) result.output.append(buffer.data(), n);
    int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

std::string member(const std::string& object, const char* key) {
    simdjson::dom::parser parser;
    simdjson::dom::element root = parser.parse(object);
    simdjson::dom::element value;
    if (root.at_key(key).get(value)) return {};
    return simdjson::minify(value);
}

class SystemPowerSensors : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(program())) GTEST_SKIP() << "the orvantine program is not built at " << program();
    }
};

TEST_F(SystemPowerSensors, TextHasALineForEachPart) {
    auto result = run("system --interval 0.05");
    ASSERT_EQ(result.status, 0) << result.output;
    for (const char* heading : {"\nBattery  ", "\nGPU      ", "\nThermal  ", "\nSensors  "}) {
        EXPECT_NE(result.output.find(heading), std::string::npos) << heading << " missing in\n" << result.output;
    }
}

TEST_F(SystemPowerSensors, JsonMembersDecodeAsTheirRecords) {
    auto result = run("system --interval 0.05 --json");
    ASSERT_EQ(result.status, 0) << result.output;
    auto thermal = member(result.output, "thermal");
    ASSERT_FALSE(thermal.empty()) << result.output;
    EXPECT_NO_THROW(json::decode<ThermalPressure>(thermal));
    if (auto battery = member(result.output, "battery"); !battery.empty()) {
        EXPECT_NO_THROW(json::decode<BatteryStats>(battery));
    }
    if (auto gpu = member(result.output, "gpu"); !gpu.empty()) {
        EXPECT_NO_THROW(json::decode<GPUStats>(gpu));
    }
    if (auto sensors = member(result.output, "sensors"); !sensors.empty()) {
        EXPECT_NO_THROW(json::decode<SensorStats>(sensors));
    }
}

TEST_F(SystemPowerSensors, AMissingPartIsSaidInTextAndAbsentInJson) {
    auto text = run("system --interval 0.05").output;
    auto object = run("system --interval 0.05 --json").output;
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
