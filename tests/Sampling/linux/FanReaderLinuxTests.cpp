#include <gtest/gtest.h>

#include "Sampling/linux/FanReaderLinux.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;

TEST(FanReaderLinux, FansOfEveryChipWithTheirLimits) {
    TempDir dir;
    dir.write("sys/class/hwmon/hwmon2/name", "thinkpad\n");
    dir.write("sys/class/hwmon/hwmon2/fan1_input", "2400\n");
    dir.write("sys/class/hwmon/hwmon2/fan1_min", "1200\n");
    dir.write("sys/class/hwmon/hwmon2/fan1_max", "5200\n");
    dir.write("sys/class/hwmon/hwmon2/fan2_input", "0\n");
    dir.write("sys/class/hwmon/hwmon10/name", "nct6798\n");
    dir.write("sys/class/hwmon/hwmon10/fan3_input", "910\n");
    dir.write("sys/class/hwmon/hwmon10/fan3_min", "garbage\n");
    auto fans = fanReadings(dir.path());
    ASSERT_EQ(fans.size(), 3u);
    EXPECT_EQ(fans[0], (FanReading{0, 2400, 1200.0, 5200.0}));
    EXPECT_EQ(fans[1], (FanReading{1, 0, {}, {}}));
    EXPECT_EQ(fans[2], (FanReading{2, 910, {}, {}}));  // hwmon10 after hwmon2
}

TEST(FanReaderLinux, ChipsWithoutFansGiveNone) {
    TempDir dir;
    dir.write("sys/class/hwmon/hwmon0/name", "coretemp\n");
    dir.write("sys/class/hwmon/hwmon0/temp1_input", "45000\n");
    EXPECT_TRUE(fanReadings(dir.path()).empty());
    TempDir empty;
    EXPECT_TRUE(fanReadings(empty.path()).empty());
}

}  // namespace
}  // namespace orv
