#include <gtest/gtest.h>

#include "PrivateAPIs/linux/HwmonClass.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;

void chip(const TempDir& dir, const std::string& folder, std::map<std::string, std::string> attributes) {
    for (const auto& [file, value] : attributes) dir.write("sys/class/hwmon/" + folder + "/" + file, value + "\n");
}

TEST(HwmonClass, LabelledSensorsAreNamedByChipAndLabel) {
    TempDir dir;
    chip(dir, "hwmon3", {{"name", "coretemp"}, {"temp1_input", "52000"}, {"temp1_label", "Package id 0"},
                         {"temp2_input", "49500"}, {"temp2_label", "Core 0"}});
    auto map = hwmonTemperatures(dir.path(), "", 64);
    EXPECT_EQ(map, (HIDTemperatures::Readings{{"coretemp Package id 0", 52.0}, {"coretemp Core 0", 49.5}}));
}

TEST(HwmonClass, UnlabelledSensorsAreNamedByChipAndIndex) {
    TempDir dir;
    chip(dir, "hwmon0", {{"name", "nvme"}, {"temp1_input", "38850"}, {"temp3_input", "-5000"}});
    auto map = hwmonTemperatures(dir.path(), "", 64);
    EXPECT_EQ(map, (HIDTemperatures::Readings{{"nvme 1", 38.85}, {"nvme 3", -5.0}}));
}

TEST(HwmonClass, PrefixLimitAndFirstNameWins) {
    TempDir dir;
    chip(dir, "hwmon1", {{"name", "acpitz"}, {"temp1_input", "40000"}});
    chip(dir, "hwmon2", {{"name", "acpitz"}, {"temp1_input", "99000"}});
    chip(dir, "hwmon10", {{"name", "k10temp"}, {"temp1_input", "61000"}, {"temp1_label", "Tctl"}});
    // Two chips of one name without devices are told apart by their folders.
    EXPECT_EQ(hwmonTemperatures(dir.path(), "acpitz", 64),
              (HIDTemperatures::Readings{{"acpitz 1 (hwmon1)", 40.0}, {"acpitz 1 (hwmon2)", 99.0}}));
    EXPECT_EQ(hwmonTemperatures(dir.path(), "k10", 64), (HIDTemperatures::Readings{{"k10temp Tctl", 61.0}}));
    EXPECT_EQ(hwmonTemperatures(dir.path(), "", 1), (HIDTemperatures::Readings{{"acpitz 1 (hwmon1)", 40.0}}));
    EXPECT_TRUE(hwmonTemperatures(dir.path(), "", 0)->empty());
}

// A chip whose device link leads to `device` below sys/devices, as the kernel lays them out.
void chipOf(const TempDir& dir, const std::string& folder, const std::string& device,
            std::map<std::string, std::string> attributes) {
    dir.mkdir("sys/devices/" + device);
    chip(dir, folder, attributes);
    dir.symlink("sys/class/hwmon/" + folder + "/device", (dir.path() / "sys/devices" / device).string());
}

TEST(HwmonClass, TwoChipsOfOneNameAreToldApartByTheirDevices) {
    TempDir dir;
    chipOf(dir, "hwmon1", "pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0",
           {{"name", "nvme"}, {"temp1_input", "38850"}, {"temp1_label", "Composite"}});
    chipOf(dir, "hwmon2", "pci0000:00/0000:00:1c.4/0000:3e:00.0/nvme/nvme1",
           {{"name", "nvme"}, {"temp1_input", "44850"}, {"temp1_label", "Composite"}});
    chipOf(dir, "hwmon3", "platform/coretemp.0",
           {{"name", "coretemp"}, {"temp1_input", "50000"}, {"temp1_label", "Core 0"}});
    EXPECT_EQ(hwmonTemperatures(dir.path(), "", 64),
              (HIDTemperatures::Readings{{"nvme Composite (nvme0)", 38.85},
                                         {"nvme Composite (nvme1)", 44.85},
                                         {"coretemp Core 0", 50.0}}));
    auto chips = readHwmonChips(dir.path());
    ASSERT_TRUE(chips);
    EXPECT_EQ((*chips)[0].device, "nvme0");
    EXPECT_EQ((*chips)[0].deviceKey, "sys/devices/pci0000:00/0000:00:1d.0/0000:3d:00.0/nvme/nvme0");
}

TEST(HwmonClass, OnlyNameTemperatureAndFanAttributesAreOpenedOnceEach) {
    TempDir dir;
    chip(dir, "hwmon4", {{"name", "nct6798"}, {"temp1_input", "30000"}, {"temp1_label", "SYSTIN"},
                         {"temp1_max", "80000"}, {"temp1_alarm", "0"}, {"fan2_input", "900"}, {"fan2_min", "300"},
                         {"fan2_max", "2000"}, {"fan2_alarm", "0"}, {"in0_input", "1040"}, {"pwm2", "128"},
                         {"power1_average", "1"}, {"intrusion0_alarm", "1"}});
    size_t filesRead = 0;
    auto chips = readHwmonChips(dir.path(), &filesRead);
    ASSERT_TRUE(chips);
    EXPECT_EQ(filesRead, 6u);
    EXPECT_EQ((*chips)[0].attributes.size(), 6u);
    EXPECT_FALSE((*chips)[0].attributes.contains("in0_input"));
}

TEST(HwmonClass, TheAttributesAPassReads) {
    for (const char* name : {"name", "temp1_input", "temp12_label", "fan1_input", "fan3_min", "fan3_max"}) {
        EXPECT_TRUE(HwmonDecoding::isRead(name)) << name;
    }
    for (const char* name : {"temp1_max", "temp_input", "tempX_input", "fan1_alarm", "fan1_target", "in0_input",
                             "pwm1", "uevent", "temp1_input_x", "fan1_label"}) {
        EXPECT_FALSE(HwmonDecoding::isRead(name)) << name;
    }
}

TEST(HwmonClass, GarbageAndMissingInputsAreLeftOut) {
    TempDir dir;
    chip(dir, "hwmon0", {{"name", "weird"}, {"temp1_input", "n/a"}, {"temp2_label", "ghost"}, {"tempX_input", "1"},
                         {"temp4_input", ""}});
    EXPECT_TRUE(hwmonTemperatures(dir.path(), "", 64)->empty());
}

TEST(HwmonClass, OlderDriversKeepAttributesOnTheDevice) {
    TempDir dir;
    chip(dir, "hwmon0", {});
    dir.mkdir("sys/class/hwmon/hwmon0");
    dir.write("sys/class/hwmon/hwmon0/device/name", "w83627ehf\n");
    dir.write("sys/class/hwmon/hwmon0/device/temp1_input", "33000\n");
    EXPECT_EQ(hwmonTemperatures(dir.path(), "", 64), (HIDTemperatures::Readings{{"w83627ehf 1", 33.0}}));
}

TEST(HwmonClass, NoHwmonClassIsAbsent) {
    TempDir dir;
    EXPECT_FALSE(hwmonTemperatures(dir.path(), "", 64));
    dir.mkdir("sys/class/hwmon");
    EXPECT_TRUE(hwmonTemperatures(dir.path(), "", 64)->empty());
}

}  // namespace
}  // namespace orv
