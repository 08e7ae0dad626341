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
    EXPECT_EQ(hwmonTemperatures(dir.path(), "acpitz", 64), (HIDTemperatures::Readings{{"acpitz 1", 40.0}}));
    EXPECT_EQ(hwmonTemperatures(dir.path(), "k10", 64), (HIDTemperatures::Readings{{"k10temp Tctl", 61.0}}));
    EXPECT_EQ(hwmonTemperatures(dir.path(), "", 1), (HIDTemperatures::Readings{{"acpitz 1", 40.0}}));
    EXPECT_TRUE(hwmonTemperatures(dir.path(), "", 0)->empty());
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
