#include <gtest/gtest.h>

#include <map>

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
    // Without devices, chips rank by name: nct6798 first.
    EXPECT_EQ(fans[0], (FanReading{101, 2400, 1200.0, 5200.0}));
    EXPECT_EQ(fans[1], (FanReading{102, 0, {}, {}}));
    EXPECT_EQ(fans[2], (FanReading{3, 910, {}, {}}));  // hwmon10 after hwmon2
}

// One boot's hwmon class: the Super I/O chip and the laptop's EC chip in
// the order their drivers loaded.
void boot(const TempDir& dir, bool superIOFirst) {
    dir.mkdir("sys/devices/platform/nct6775.656");
    dir.mkdir("sys/devices/platform/thinkpad_hwmon");
    std::string superIO = superIOFirst ? "hwmon2" : "hwmon5";
    std::string ec = superIOFirst ? "hwmon5" : "hwmon2";
    dir.write("sys/class/hwmon/" + superIO + "/name", "nct6798\n");
    dir.write("sys/class/hwmon/" + superIO + "/fan2_input", "900\n");
    dir.symlink("sys/class/hwmon/" + superIO + "/device", (dir.path() / "sys/devices/platform/nct6775.656").string());
    dir.write("sys/class/hwmon/" + ec + "/name", "thinkpad\n");
    dir.write("sys/class/hwmon/" + ec + "/fan1_input", "2400\n");
    dir.symlink("sys/class/hwmon/" + ec + "/device", (dir.path() / "sys/devices/platform/thinkpad_hwmon").string());
}

std::map<int64_t, double> rpmById(const std::vector<FanReading>& fans) {
    std::map<int64_t, double> out;
    for (const auto& f : fans) out[f.id] = f.rpm;
    return out;
}

TEST(FanReaderLinux, IdsFollowTheDevicesNotTheHwmonNumbers) {
    TempDir first;
    boot(first, true);
    TempDir second;
    boot(second, false);
    auto before = rpmById(fanReadings(first.path()));
    EXPECT_EQ(before, (std::map<int64_t, double>{{2, 900}, {101, 2400}}));
    EXPECT_EQ(rpmById(fanReadings(second.path())), before);
}

TEST(FanReaderLinux, OneFanChipsIdsAreItsFanNumbers) {
    TempDir dir;
    dir.write("sys/class/hwmon/hwmon7/name", "dell_smm\n");
    dir.write("sys/class/hwmon/hwmon7/fan1_input", "2100\n");
    dir.write("sys/class/hwmon/hwmon7/fan2_input", "2300\n");
    dir.write("sys/class/hwmon/hwmon0/name", "acpitz\n");
    dir.write("sys/class/hwmon/hwmon0/temp1_input", "40000\n");
    EXPECT_EQ(rpmById(fanReadings(dir.path())), (std::map<int64_t, double>{{1, 2100}, {2, 2300}}));
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
