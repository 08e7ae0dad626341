#include <gtest/gtest.h>

#include "Sampling/BatteryMath.h"
#include "Sampling/PowerSupplyDecoding.h"

namespace orv {
namespace {

PowerSupplyEntry battery(AttributeText::Attributes extra) {
    AttributeText::Attributes a{{"type", "Battery"}, {"present", "1"}, {"capacity", "64"}, {"status", "Discharging"}};
    for (auto& [k, v] : extra) a.insert_or_assign(k, v);
    return {"BAT0", a};
}

TEST(PowerSupplyDecoding, TheFirstPresentSystemBatteryIsChosen) {
    std::vector<PowerSupplyEntry> entries{
        {"AC", {{"type", "Mains"}, {"online", "1"}}},
        {"BAT0", {{"type", "Battery"}, {"present", "0"}}},
        {"hid-aa:bb:cc:dd:ee:ff-battery", {{"type", "Battery"}, {"scope", "Device"}}},
        {"BAT1", {{"type", "Battery"}, {"scope", "System"}}},
    };
    EXPECT_EQ(PowerSupplyDecoding::systemBattery(entries), &entries[3]);
    EXPECT_TRUE(PowerSupplyDecoding::externalPowerOnline(entries));
}

TEST(PowerSupplyDecoding, NoBatteryAmongAdapters) {
    std::vector<PowerSupplyEntry> entries{{"AC", {{"type", "Mains"}, {"online", "0"}}},
                                          {"ucsi-source-psy-1", {{"type", "USB"}, {"online", "1"}}}};
    EXPECT_EQ(PowerSupplyDecoding::systemBattery(entries), nullptr);
    EXPECT_TRUE(PowerSupplyDecoding::externalPowerOnline(entries));
    entries[1].attributes["online"] = "0";
    EXPECT_FALSE(PowerSupplyDecoding::externalPowerOnline(entries));
}

TEST(PowerSupplyDecoding, DescriptionCarriesCapacityStateAndDriverTimes) {
    auto d = PropertyValue(PowerSupplyDecoding::description(battery({{"time_to_empty_now", "5400"}}), false));
    auto stats = BatteryMath::stats(d, nullptr);
    ASSERT_TRUE(stats);
    EXPECT_EQ(stats->percent, 64);
    EXPECT_EQ(stats->source, BatteryStats::PowerSource::battery);
    EXPECT_EQ(stats->timeRemaining, Duration::seconds(5400));
}

TEST(PowerSupplyDecoding, TimeToEmptyFromEnergyOverPower) {
    auto d = PowerSupplyDecoding::description(battery({{"energy_now", "30000000"}, {"power_now", "15000000"}}), false);
    EXPECT_EQ(d.at("Time to Empty"), PropertyValue(int64_t{120}));
}

TEST(PowerSupplyDecoding, TimeToFullFromChargeOverCurrent) {
    auto d = PowerSupplyDecoding::description(
        battery({{"status", "Charging"}, {"charge_now", "2000000"}, {"charge_full", "5000000"},
                 {"current_now", "1500000"}}),
        true);
    EXPECT_EQ(d.at("Time to Full Charge"), PropertyValue(int64_t{120}));
    EXPECT_EQ(d.at("Is Charging"), PropertyValue(true));
    EXPECT_EQ(d.at("Power Source State"), PropertyValue("AC Power"));
    EXPECT_FALSE(d.contains("Time to Empty"));
}

TEST(PowerSupplyDecoding, SmartPropertiesFromEnergyAttributes) {
    auto s = PowerSupplyDecoding::smartBattery(battery({{"cycle_count", "212"},
                                                        {"energy_full", "45000000"},
                                                        {"energy_full_design", "50000000"},
                                                        {"power_now", "-12000000"},
                                                        {"voltage_now", "12000000"}}));
    EXPECT_EQ(s.at("CycleCount"), PropertyValue(int64_t{212}));
    EXPECT_EQ(s.at("NominalChargeCapacity"), PropertyValue(int64_t{45000}));
    EXPECT_EQ(s.at("DesignCapacity"), PropertyValue(int64_t{50000}));
    EXPECT_EQ(s.at("Amperage"), PropertyValue(int64_t{-1000}));  // 12 W at 12 V, discharging
    EXPECT_EQ(s.at("Voltage"), PropertyValue(int64_t{12000}));
}

TEST(PowerSupplyDecoding, CurrentSignFollowsTheStatusNotTheDriver) {
    auto charging = PowerSupplyDecoding::smartBattery(battery({{"status", "Charging"}, {"current_now", "-2000000"}}));
    EXPECT_EQ(charging.at("Amperage"), PropertyValue(int64_t{2000}));
    auto discharging = PowerSupplyDecoding::smartBattery(battery({{"current_now", "2000000"}}));
    EXPECT_EQ(discharging.at("Amperage"), PropertyValue(int64_t{-2000}));
}

TEST(PowerSupplyDecoding, ACycleCountOfZeroIsLeftOut) {
    auto s = PowerSupplyDecoding::smartBattery(battery({{"cycle_count", "0"}}));
    EXPECT_FALSE(s.contains("CycleCount"));
}

TEST(PowerSupplyDecoding, TwoChargePacksAreCombinedInEnergyAtTheirDesignVoltages) {
    // 2 Ah of 4 Ah at 7.4 V and 1 Ah of 2 Ah at 14.8 V: 29.6 Wh of 59.2 Wh.
    std::vector<PowerSupplyEntry> packs{
        {"BAT0", {{"type", "Battery"}, {"status", "Discharging"}, {"charge_now", "2000000"},
                  {"charge_full", "4000000"}, {"charge_full_design", "4000000"}, {"voltage_min_design", "7400000"},
                  {"voltage_now", "7600000"}, {"current_now", "1000000"}, {"cycle_count", "12"}}},
        {"BAT1", {{"type", "Battery"}, {"status", "Unknown"}, {"charge_now", "1000000"}, {"charge_full", "2000000"},
                  {"charge_full_design", "2500000"}, {"voltage_min_design", "14800000"},
                  {"voltage_now", "15000000"}, {"cycle_count", "30"}}}};
    auto d = PowerSupplyDecoding::description(packs, false);
    auto stats = BatteryMath::stats(PropertyValue(d), nullptr);
    ASSERT_TRUE(stats);
    EXPECT_NEAR(stats->percent, 50.0, 1e-9);
    // 29.6 Wh at 7.6 W (1 A at 7.6 V).
    EXPECT_EQ(d.at("Time to Empty"), PropertyValue(int64_t{234}));
    auto s = PowerSupplyDecoding::smartBattery(packs);
    EXPECT_EQ(s.at("CycleCount"), PropertyValue(int64_t{30}));
    EXPECT_EQ(s.at("NominalChargeCapacity"), PropertyValue(int64_t{59200}));
    EXPECT_EQ(s.at("DesignCapacity"), PropertyValue(int64_t{66600}));
}

TEST(PowerSupplyDecoding, PacksWithoutEnergyFiguresAverageTheirLevels) {
    std::vector<PowerSupplyEntry> packs{{"BAT0", {{"type", "Battery"}, {"capacity", "80"}}},
                                        {"BAT1", {{"type", "Battery"}, {"capacity", "40"}}}};
    auto stats = BatteryMath::stats(PropertyValue(PowerSupplyDecoding::description(packs, true)), nullptr);
    ASSERT_TRUE(stats);
    EXPECT_NEAR(stats->percent, 60.0, 1e-9);
}

TEST(PowerSupplyDecoding, GarbageAttributesAreLeftOut) {
    auto e = battery({{"capacity", "lots"}, {"cycle_count", ""}, {"voltage_now", "12V"}});
    auto d = PowerSupplyDecoding::description(e, false);
    EXPECT_FALSE(d.contains("Current Capacity"));
    EXPECT_FALSE(BatteryMath::stats(PropertyValue(d), nullptr));
    EXPECT_TRUE(PowerSupplyDecoding::smartBattery(e).empty());
}

}  // namespace
}  // namespace orv
