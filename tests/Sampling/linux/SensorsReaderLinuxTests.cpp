#include <gtest/gtest.h>

#include "Sampling/linux/SensorsReaderLinux.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;

TEST(SensorsReaderLinux, TemperaturesAndFansShareOneReadOfEachAttribute) {
    TempDir dir;
    dir.write("sys/class/hwmon/hwmon0/name", "thinkpad\n");
    dir.write("sys/class/hwmon/hwmon0/temp1_input", "51000\n");
    dir.write("sys/class/hwmon/hwmon0/fan1_input", "2400\n");
    dir.write("sys/class/hwmon/hwmon0/fan1_min", "0\n");
    dir.write("sys/class/hwmon/hwmon0/fan1_max", "5000\n");
    dir.write("sys/class/hwmon/hwmon0/pwm1", "128\n");
    dir.write("sys/class/hwmon/hwmon1/name", "coretemp\n");
    dir.write("sys/class/hwmon/hwmon1/temp1_input", "60000\n");
    dir.write("sys/class/hwmon/hwmon1/temp1_label", "Package id 0\n");
    dir.write("sys/class/hwmon/hwmon1/temp1_crit", "100000\n");
    size_t filesRead = 0;
    auto hardware = readHwmonHardware(dir.path(), &filesRead);
    EXPECT_EQ(filesRead, 8u);  // every wanted file once, pwm1 and temp1_crit never
    ASSERT_TRUE(hardware.temperatures);
    EXPECT_EQ(*hardware.temperatures,
              (HIDTemperatures::Readings{{"thinkpad 1", 51.0}, {"coretemp Package id 0", 60.0}}));
    EXPECT_EQ(hardware.fans, (std::vector<FanReading>{{1, 2400, 0.0, 5000.0}}));
}

TEST(SensorsReaderLinux, NoHwmonClassIsNoTemperatureFacilityAndNoFans) {
    TempDir dir;
    auto hardware = readHwmonHardware(dir.path());
    EXPECT_FALSE(hardware.temperatures);
    EXPECT_TRUE(hardware.fans.empty());
}

}  // namespace
}  // namespace orv
