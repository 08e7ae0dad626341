#include <gtest/gtest.h>

#include "Sampling/BatteryMath.h"

namespace orv {
namespace {

using Dict = PropertyValue::Dictionary;

PropertyValue description(Dict extra = {}) {
    Dict d{{"Type", "InternalBattery"},
           {"Current Capacity", 50},
           {"Max Capacity", 100},
           {"Power Source State", "Battery Power"},
           {"Is Charging", false}};
    for (auto& [k, v] : extra) d.insert_or_assign(k, v);
    return PropertyValue(std::move(d));
}

TEST(BatteryMath, ZeroCurrentCapacityIsZeroPercent) {
    auto stats = BatteryMath::stats(description({{"Current Capacity", 0}}), nullptr);
    ASSERT_TRUE(stats);
    EXPECT_EQ(stats->percent, 0);
}

TEST(BatteryMath, CurrentAboveMaxReadsOneHundred) {
    auto stats = BatteryMath::stats(description({{"Current Capacity", 130}}), nullptr);
    ASSERT_TRUE(stats);
    EXPECT_EQ(stats->percent, 100);
}

TEST(BatteryMath, PercentIsCurrentOverMax) {
    auto stats = BatteryMath::stats(description({{"Current Capacity", 3}, {"Max Capacity", 4}}), nullptr);
    EXPECT_DOUBLE_EQ(stats->percent, 75);
}

TEST(BatteryMath, MissingOrNonPositiveMaxGivesNoStats) {
    Dict noMax{{"Type", "InternalBattery"}, {"Current Capacity", 50}};
    EXPECT_FALSE(BatteryMath::stats(PropertyValue(noMax), nullptr));
    EXPECT_FALSE(BatteryMath::stats(description({{"Max Capacity", 0}}), nullptr));
    Dict noCurrent{{"Type", "InternalBattery"}, {"Max Capacity", 100}};
    EXPECT_FALSE(BatteryMath::stats(PropertyValue(noCurrent), nullptr));
}

TEST(BatteryMath, TimeOfZeroOrMinusOneIsNoTimeRemaining) {
    EXPECT_FALSE(BatteryMath::stats(description({{"Time to Empty", 0}}), nullptr)->timeRemaining);
    EXPECT_FALSE(BatteryMath::stats(description({{"Time to Empty", -1}}), nullptr)->timeRemaining);
}

TEST(BatteryMath, NinetyMinutesToEmptyOnBattery) {
    auto stats = BatteryMath::stats(description({{"Time to Empty", 90}, {"Time to Full Charge", 10}}), nullptr);
    EXPECT_EQ(stats->timeRemaining, Duration::seconds(90 * 60));
    EXPECT_EQ(stats->source, BatteryStats::PowerSource::battery);
}

TEST(BatteryMath, OnACTheTimeIsTimeToFull) {
    auto stats = BatteryMath::stats(
        description({{"Power Source State", "AC Power"}, {"Time to Empty", 90}, {"Time to Full Charge", 25},
                     {"Is Charging", true}}),
        nullptr);
    EXPECT_EQ(stats->source, BatteryStats::PowerSource::ac);
    EXPECT_EQ(stats->timeRemaining, Duration::seconds(25 * 60));
    EXPECT_TRUE(stats->isCharging);
}

TEST(BatteryMath, MissingIsChargingIsFalse) {
    Dict d{{"Type", "InternalBattery"}, {"Current Capacity", 5}, {"Max Capacity", 10}};
    EXPECT_FALSE(BatteryMath::stats(PropertyValue(d), nullptr)->isCharging);
}

TEST(BatteryMath, DescriptionWithoutIsPresentIsUsed) {
    std::vector<PropertyValue> list{PropertyValue(Dict{{"Type", "UPS"}}), description()};
    EXPECT_EQ(BatteryMath::internalBattery(list), &list[1]);
}

TEST(BatteryMath, DescriptionWithIsPresentFalseIsSkipped) {
    std::vector<PropertyValue> list{description({{"Is Present", false}}), description({{"Is Present", 0}}),
                                    description({{"Is Present", true}, {"Current Capacity", 7}})};
    EXPECT_EQ(BatteryMath::internalBattery(list), &list[2]);
}

TEST(BatteryMath, DescriptionWithOddIsPresentIsUsedAsItStands) {
    std::vector<PropertyValue> list{description({{"Is Present", "no"}})};
    EXPECT_EQ(BatteryMath::internalBattery(list), &list[0]);
}

TEST(BatteryMath, NoInternalBatteryAmongOtherTypes) {
    std::vector<PropertyValue> list{PropertyValue(Dict{{"Type", "UPS"}}), PropertyValue(Dict{{"Name", "x"}}),
                                    PropertyValue(Dict{{"Type", 3}})};
    EXPECT_EQ(BatteryMath::internalBattery(list), nullptr);
}

TEST(BatteryMath, OnACWithNegativeAmperageTheDrawIsReported) {
    PropertyValue smart(Dict{{"Amperage", -1500}, {"Voltage", 12000}});
    EXPECT_DOUBLE_EQ(*BatteryMath::powerDrawWatts(smart, true), 18.0);
}

TEST(BatteryMath, OnACWithPositiveAmperageTheDrawIsZero) {
    PropertyValue smart(Dict{{"Amperage", 2000}, {"Voltage", 12000}});
    EXPECT_EQ(*BatteryMath::powerDrawWatts(smart, true), 0.0);
}

TEST(BatteryMath, OnBatteryTheDrawIsTheMagnitude) {
    PropertyValue smart(Dict{{"Amperage", -800}, {"Voltage", 11500}});
    EXPECT_DOUBLE_EQ(*BatteryMath::powerDrawWatts(smart, false), 9.2);
    EXPECT_FALSE(BatteryMath::powerDrawWatts(PropertyValue(Dict{{"Amperage", -800}}), false));
}

TEST(BatteryMath, RawMaximumAboveDesignReadsOneHundred) {
    PropertyValue smart(Dict{{"AppleRawMaxCapacity", 5000}, {"DesignCapacity", 4800}});
    EXPECT_EQ(*BatteryMath::maxCapacityPercent(smart), 100.0);
}

TEST(BatteryMath, WithoutRawMaximumTheTopLevelNominalCapacityIsUsed) {
    PropertyValue smart(Dict{{"NominalChargeCapacity", 4000},
                             {"DesignCapacity", 5000},
                             {"BatteryData", Dict{{"NominalChargeCapacity", 1000}}}});
    EXPECT_DOUBLE_EQ(*BatteryMath::maxCapacityPercent(smart), 80.0);
}

TEST(BatteryMath, WithoutEitherTheNominalCapacityInsideBatteryDataIsUsed) {
    PropertyValue smart(Dict{{"BatteryData", Dict{{"NominalChargeCapacity", 4500}, {"DesignCapacity", 5000}}}});
    EXPECT_DOUBLE_EQ(*BatteryMath::maxCapacityPercent(smart), 90.0);
}

TEST(BatteryMath, MaximumCapacityNeedsAPositiveDesignAndNonNegativeFull) {
    EXPECT_FALSE(BatteryMath::maxCapacityPercent(PropertyValue(Dict{{"AppleRawMaxCapacity", 10}, {"DesignCapacity", 0}})));
    EXPECT_FALSE(BatteryMath::maxCapacityPercent(PropertyValue(Dict{{"AppleRawMaxCapacity", -1}, {"DesignCapacity", 9}})));
    EXPECT_FALSE(BatteryMath::maxCapacityPercent(PropertyValue(Dict{{"DesignCapacity", 9}})));
}

TEST(BatteryMath, SmartPropertiesFillCycleCountHealthAndDraw) {
    PropertyValue smart(Dict{{"CycleCount", 412}, {"AppleRawMaxCapacity", 4000}, {"DesignCapacity", 5000},
                             {"Amperage", -1000}, {"Voltage", 12000}});
    auto stats = BatteryMath::stats(description(), &smart);
    EXPECT_EQ(stats->cycleCount, 412);
    EXPECT_DOUBLE_EQ(*stats->maxCapacityPercent, 80.0);
    EXPECT_DOUBLE_EQ(*stats->powerDrawWatts, 12.0);
    auto bare = BatteryMath::stats(description(), nullptr);
    EXPECT_FALSE(bare->cycleCount);
    EXPECT_FALSE(bare->maxCapacityPercent);
    EXPECT_FALSE(bare->powerDrawWatts);
}

}  // namespace
}  // namespace orv
