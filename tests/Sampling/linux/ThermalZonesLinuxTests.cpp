#include <gtest/gtest.h>

#include "Sampling/linux/ThermalZonesLinux.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;

// An x86 laptop's ACPI zone: fan on at 60 °C, throttling at 85, hot at 98,
// shutdown at 105.
void zone(const TempDir& dir, int index, int temp) {
    std::string base = "sys/class/thermal/thermal_zone" + std::to_string(index) + "/";
    dir.write(base + "type", "acpitz\n");
    dir.write(base + "temp", std::to_string(temp) + "\n");
    const char* types[] = {"active", "passive", "hot", "critical"};
    int temps[] = {60000, 85000, 98000, 105000};
    for (int i = 0; i < 4; ++i) {
        dir.write(base + "trip_point_" + std::to_string(i) + "_type", std::string(types[i]) + "\n");
        dir.write(base + "trip_point_" + std::to_string(i) + "_temp", std::to_string(temps[i]) + "\n");
    }
}

void coolingDevice(const TempDir& dir, int index, int state, const std::string& type = "Processor") {
    std::string base = "sys/class/thermal/cooling_device" + std::to_string(index) + "/";
    dir.write(base + "type", type + "\n");
    dir.write(base + "cur_state", std::to_string(state) + "\n");
    dir.write(base + "max_state", "1\n");
}

TEST(ThermalZonesLinux, CoolZonesAndIdleFansAreNominal) {
    TempDir dir;
    zone(dir, 0, 45000);
    coolingDevice(dir, 0, 0);
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::nominal);
}

TEST(ThermalZonesLinux, AThrottledProcessorIsFair) {
    TempDir dir;
    zone(dir, 0, 45000);
    coolingDevice(dir, 0, 1);
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::fair);
}

TEST(ThermalZonesLinux, CpufreqAndIdleInjectionThrottlingAreFair) {
    for (const char* type : {"cpufreq-cpu0", "cpufreq-cpu4", "intel_powerclamp", "idle-cpu2"}) {
        TempDir dir;
        zone(dir, 0, 45000);
        coolingDevice(dir, 3, 2, type);
        EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::fair) << type;
    }
}

TEST(ThermalZonesLinux, ARunningFanOrTheFirmwaresTCCOffsetIsNotPressure) {
    TempDir dir;
    zone(dir, 0, 45000);
    coolingDevice(dir, 0, 1, "Fan");
    coolingDevice(dir, 1, 5, "TCC Offset");
    coolingDevice(dir, 2, 3, "thermal-devfreq-0");
    coolingDevice(dir, 3, 0, "Processor");
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::nominal);
}

TEST(ThermalZonesLinux, AZoneWhoseModeIsDisabledIsIgnored) {
    TempDir dir;
    zone(dir, 0, 99000);
    dir.write("sys/class/thermal/thermal_zone0/mode", "disabled\n");
    zone(dir, 1, 45000);
    dir.write("sys/class/thermal/thermal_zone1/mode", "enabled\n");
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::nominal);
    dir.write("sys/class/thermal/thermal_zone0/mode", "enabled\n");
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::critical);
}

TEST(ThermalZonesLinux, TheActiveTripIsFair) {
    TempDir dir;
    zone(dir, 0, 61000);
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::fair);
}

TEST(ThermalZonesLinux, ThePassiveTripIsSerious) {
    TempDir dir;
    zone(dir, 0, 40000);
    zone(dir, 1, 86000);
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::serious);
}

TEST(ThermalZonesLinux, TheHotTripIsCritical) {
    TempDir dir;
    zone(dir, 0, 98000);
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::critical);
}

TEST(ThermalZonesLinux, TheCriticalTripIsCritical) {
    TempDir dir;
    zone(dir, 3, 106000);
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::critical);
}

TEST(ThermalZonesLinux, NoThermalClassIsNominal) {
    TempDir dir;
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::nominal);
}

TEST(ThermalZonesLinux, GarbageTemperaturesAreIgnored) {
    TempDir dir;
    zone(dir, 0, 0);
    dir.write("sys/class/thermal/thermal_zone0/temp", "hot!\n");
    EXPECT_EQ(thermalPressure(dir.path()), ThermalPressure::nominal);
}

}  // namespace
}  // namespace orv
