#include <gtest/gtest.h>

#include "Sampling/BatterySampler.h"
#include "Sampling/linux/BatteryPortLinux.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;

void supply(const TempDir& dir, const std::string& name, std::map<std::string, std::string> attributes) {
    for (const auto& [file, value] : attributes) dir.write("sys/class/power_supply/" + name + "/" + file, value + "\n");
}

// A laptop pack reporting energy (µWh) and power (µW).
void energyBattery(const TempDir& dir, const std::string& status) {
    supply(dir, "BAT0", {{"type", "Battery"}, {"scope", "System"}, {"present", "1"}, {"status", status},
                         {"capacity", "76"}, {"energy_now", "38000000"}, {"energy_full", "50000000"},
                         {"energy_full_design", "57000000"}, {"power_now", "9500000"}, {"voltage_now", "11400000"},
                         {"cycle_count", "143"}});
    dir.mkdir("sys/class/power_supply/BAT0/power");  // folders are not attributes
}

// A pack reporting charge (µAh) and current (µA), as many ARM boards do.
void chargeBattery(const TempDir& dir, const std::string& status) {
    supply(dir, "battery", {{"type", "Battery"}, {"status", status}, {"capacity", "40"}, {"charge_now", "2000000"},
                            {"charge_full", "5000000"}, {"charge_full_design", "5000000"}, {"current_now", "1000000"},
                            {"voltage_now", "3800000"}});
}

struct Clock {
    ContinuousClock::Instant now{1};
};

TEST(BatteryPortLinux, DischargingEnergyBatteryOnBattery) {
    TempDir dir;
    energyBattery(dir, "Discharging");
    supply(dir, "AC", {{"type", "Mains"}, {"online", "0"}});
    BatterySampler sampler(makeBatteryPort(dir.path()));
    auto stats = sampler.sample();
    ASSERT_TRUE(stats);
    EXPECT_EQ(stats->percent, 76);
    EXPECT_FALSE(stats->isCharging);
    EXPECT_EQ(stats->source, BatteryStats::PowerSource::battery);
    EXPECT_EQ(stats->timeRemaining, Duration::seconds(240 * 60));  // 38 Wh at 9.5 W
    EXPECT_EQ(stats->cycleCount, 143);
    EXPECT_NEAR(*stats->maxCapacityPercent, 87.72, 0.01);
    EXPECT_NEAR(*stats->powerDrawWatts, 9.5, 0.01);
}

TEST(BatteryPortLinux, ChargingChargeBatteryOnAC) {
    TempDir dir;
    chargeBattery(dir, "Charging");
    supply(dir, "ADP1", {{"type", "Mains"}, {"online", "1"}});
    BatterySampler sampler(makeBatteryPort(dir.path()));
    auto stats = sampler.sample();
    ASSERT_TRUE(stats);
    EXPECT_TRUE(stats->isCharging);
    EXPECT_EQ(stats->source, BatteryStats::PowerSource::ac);
    EXPECT_EQ(stats->timeRemaining, Duration::seconds(180 * 60));  // 3 Ah to go at 1 A
    EXPECT_EQ(stats->maxCapacityPercent, 100.0);
    EXPECT_EQ(stats->powerDrawWatts, 0.0);  // charging: nothing drawn from the pack
    EXPECT_FALSE(stats->cycleCount);
}

TEST(BatteryPortLinux, FullOnUSBPowerHasNoTimeRemaining) {
    TempDir dir;
    chargeBattery(dir, "Full");
    supply(dir, "ucsi-source-psy-USBC000:001", {{"type", "USB"}, {"online", "1"}});
    BatterySampler sampler(makeBatteryPort(dir.path()));
    auto stats = sampler.sample();
    ASSERT_TRUE(stats);
    EXPECT_EQ(stats->source, BatteryStats::PowerSource::ac);
    EXPECT_FALSE(stats->isCharging);
    EXPECT_FALSE(stats->timeRemaining);
}

TEST(BatteryPortLinux, DriverTimesWinOverTheEstimate) {
    TempDir dir;
    energyBattery(dir, "Discharging");
    supply(dir, "BAT0", {{"time_to_empty_now", "3600"}});
    BatterySampler sampler(makeBatteryPort(dir.path()));
    EXPECT_EQ(sampler.sample()->timeRemaining, Duration::seconds(3600));
}

TEST(BatteryPortLinux, PeripheralAndAbsentBatteriesAreNotTheSystemBattery) {
    TempDir dir;
    supply(dir, "hid-aa:bb:cc:dd:ee:ff-battery", {{"type", "Battery"}, {"scope", "Device"}, {"capacity", "50"}});
    supply(dir, "BAT1", {{"type", "Battery"}, {"present", "0"}, {"capacity", "0"}});
    BatterySampler sampler(makeBatteryPort(dir.path()));
    EXPECT_FALSE(sampler.sample());
}

TEST(BatteryPortLinux, NoPowerSupplyClassIsNoBattery) {
    TempDir dir;
    BatterySampler sampler(makeBatteryPort(dir.path()));
    EXPECT_FALSE(sampler.sample());
}

TEST(BatteryPortLinux, HealthIsCachedForFiveMinutesWhileCurrentIsNot) {
    TempDir dir;
    energyBattery(dir, "Discharging");
    Clock clock;
    BatterySampler sampler(makeBatteryPort(dir.path()), [&] { return clock.now; });
    EXPECT_EQ(sampler.sample()->cycleCount, 143);
    supply(dir, "BAT0", {{"cycle_count", "144"}, {"power_now", "19000000"}});
    clock.now = clock.now + Duration::seconds(299);
    auto cached = sampler.sample();
    EXPECT_EQ(cached->cycleCount, 143);
    EXPECT_NEAR(*cached->powerDrawWatts, 19.0, 0.01);
    clock.now = clock.now + Duration::seconds(1);
    EXPECT_EQ(sampler.sample()->cycleCount, 144);
}

TEST(BatteryPortLinux, ACycleCountOfZeroIsUnknown) {
    TempDir dir;
    energyBattery(dir, "Discharging");
    supply(dir, "BAT0", {{"cycle_count", "0"}});
    BatterySampler sampler(makeBatteryPort(dir.path()));
    auto stats = sampler.sample();
    ASSERT_TRUE(stats);
    EXPECT_FALSE(stats->cycleCount);
    EXPECT_TRUE(stats->maxCapacityPercent);
}

// A ThinkPad with an internal and a removable pack, on battery: BAT0 idle
// and full, BAT1 discharging.
void twoBatteries(const TempDir& dir) {
    supply(dir, "AC", {{"type", "Mains"}, {"online", "0"}});
    supply(dir, "BAT0", {{"type", "Battery"}, {"present", "1"}, {"status", "Not charging"}, {"capacity", "100"},
                         {"energy_now", "23000000"}, {"energy_full", "23000000"}, {"energy_full_design", "23200000"},
                         {"power_now", "0"}, {"voltage_now", "12900000"}, {"cycle_count", "210"}});
    supply(dir, "BAT1", {{"type", "Battery"}, {"present", "1"}, {"status", "Discharging"}, {"capacity", "50"},
                         {"energy_now", "11000000"}, {"energy_full", "22000000"}, {"energy_full_design", "26800000"},
                         {"power_now", "8500000"}, {"voltage_now", "11100000"}, {"cycle_count", "0"}});
}

TEST(BatteryPortLinux, TwoBatteriesAreCombinedAsUpowerDoes) {
    TempDir dir;
    twoBatteries(dir);
    BatterySampler sampler(makeBatteryPort(dir.path()));
    auto stats = sampler.sample();
    ASSERT_TRUE(stats);
    // 34 Wh of 45 Wh, drawn at 8.5 W: 75.6 % and 4 h.
    EXPECT_NEAR(stats->percent, 34.0 / 45.0 * 100, 1e-9);
    EXPECT_FALSE(stats->isCharging);
    EXPECT_EQ(stats->source, BatteryStats::PowerSource::battery);
    EXPECT_EQ(stats->timeRemaining, Duration::seconds(240 * 60));
    EXPECT_NEAR(*stats->maxCapacityPercent, 45.0 / 50.0 * 100, 0.01);
    EXPECT_NEAR(*stats->powerDrawWatts, 8.5, 0.01);
    EXPECT_EQ(stats->cycleCount, 210);  // BAT1's 0 is unknown
}

TEST(BatteryPortLinux, TwoChargingBatteriesSumTheirRates) {
    TempDir dir;
    supply(dir, "AC", {{"type", "Mains"}, {"online", "1"}});
    supply(dir, "BAT0", {{"type", "Battery"}, {"status", "Charging"}, {"energy_now", "10000000"},
                         {"energy_full", "20000000"}, {"power_now", "5000000"}});
    supply(dir, "BAT1", {{"type", "Battery"}, {"status", "Charging"}, {"energy_now", "5000000"},
                         {"energy_full", "20000000"}, {"power_now", "5000000"}});
    BatterySampler sampler(makeBatteryPort(dir.path()));
    auto stats = sampler.sample();
    ASSERT_TRUE(stats);
    EXPECT_NEAR(stats->percent, 37.5, 1e-9);
    EXPECT_TRUE(stats->isCharging);
    EXPECT_EQ(stats->timeRemaining, Duration::seconds(150 * 60));  // 25 Wh to go at 10 W
}

TEST(BatteryPortLinux, TheHealthCacheSkipsTheHealthAttributes) {
    TempDir dir;
    energyBattery(dir, "Discharging");
    Clock clock;
    BatteryPortLinuxReads reads;
    BatterySampler sampler(makeBatteryPort(dir.path(), &reads), [&] { return clock.now; });
    ASSERT_TRUE(sampler.sample());
    EXPECT_EQ(reads.count("cycle_count"), 1u);
    EXPECT_EQ(reads.count("energy_full_design"), 1u);
    clock.now = clock.now + Duration::seconds(299);
    ASSERT_TRUE(sampler.sample());
    EXPECT_EQ(reads.count("cycle_count"), 1u);
    EXPECT_EQ(reads.count("energy_full_design"), 1u);
    EXPECT_GE(reads.count("power_now"), 2u);
    clock.now = clock.now + Duration::seconds(1);
    ASSERT_TRUE(sampler.sample());
    EXPECT_EQ(reads.count("cycle_count"), 2u);
}

TEST(BatteryPortLinux, TruncatedAndGarbageFilesGiveAbsenceNotACrash) {
    TempDir dir;
    supply(dir, "BAT0", {{"type", "Battery"}, {"capacity", ""}, {"energy_now", "\x01\x02"}, {"voltage_now", "-"},
                         {"cycle_count", "99999999999999999999999"}});
    BatterySampler sampler(makeBatteryPort(dir.path()));
    EXPECT_FALSE(sampler.sample());
}

}  // namespace
}  // namespace orv
