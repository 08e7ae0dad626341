#include <gtest/gtest.h>

#include "Sampling/ThermalReader.h"
#include "Sampling/ThermalZoneMath.h"

namespace orv {
namespace {

TEST(ThermalReader, StatesZeroToThreeMapInOrder) {
    EXPECT_EQ(ThermalReader::pressureFromState(0), ThermalPressure::nominal);
    EXPECT_EQ(ThermalReader::pressureFromState(1), ThermalPressure::fair);
    EXPECT_EQ(ThermalReader::pressureFromState(2), ThermalPressure::serious);
    EXPECT_EQ(ThermalReader::pressureFromState(3), ThermalPressure::critical);
}

TEST(ThermalReader, AStateOutsideZeroToThreeReadsNominal) {
    EXPECT_EQ(ThermalReader::pressureFromState(4), ThermalPressure::nominal);
    EXPECT_EQ(ThermalReader::pressureFromState(-1), ThermalPressure::nominal);
}

ThermalZone zoneAt(int64_t temp, std::vector<ThermalZone::TripPoint> trips) { return {temp, std::move(trips)}; }

const std::vector<ThermalZone::TripPoint> laptopTrips{
    {"active", 60000}, {"passive", 85000}, {"hot", 98000}, {"critical", 105000}};

TEST(ThermalZoneMath, EachTripPointTypeGivesItsLevel) {
    auto at = [](int64_t temp) {
        std::vector<ThermalZone> zones{zoneAt(temp, laptopTrips)};
        return ThermalZoneMath::pressure(zones, false);
    };
    EXPECT_EQ(at(45000), ThermalPressure::nominal);
    EXPECT_EQ(at(60000), ThermalPressure::fair);
    EXPECT_EQ(at(86000), ThermalPressure::serious);
    EXPECT_EQ(at(99000), ThermalPressure::critical);
    EXPECT_EQ(at(110000), ThermalPressure::critical);
}

TEST(ThermalZoneMath, OnlyProcessorThrottlingDeviceTypesCount) {
    for (const char* type : {"Processor", "intel_powerclamp", "cpufreq-cpu0", "cpufreq-policy4", "idle-cpu1"}) {
        EXPECT_TRUE(ThermalZoneMath::throttlesProcessors(type)) << type;
    }
    for (const char* type : {"Fan", "TCC Offset", "thermal-devfreq-0", "LCD", "intel_pch_thermal", "processor"}) {
        EXPECT_FALSE(ThermalZoneMath::throttlesProcessors(type)) << type;
    }
}

TEST(ThermalZoneMath, ADisabledZoneIsIgnored) {
    AttributeText::Attributes a{{"temp", "99000"}, {"mode", "disabled"}, {"trip_point_0_type", "critical"},
                                {"trip_point_0_temp", "95000"}};
    auto z = ThermalZoneMath::zone(a);
    EXPECT_FALSE(z.enabled);
    std::vector<ThermalZone> zones{z};
    EXPECT_EQ(ThermalZoneMath::pressure(zones, false), ThermalPressure::nominal);
}

TEST(ThermalZoneMath, AnEngagedThrottlingDeviceIsFair) {
    std::vector<ThermalZone> zones{zoneAt(30000, laptopTrips)};
    EXPECT_EQ(ThermalZoneMath::pressure(zones, true), ThermalPressure::fair);
    EXPECT_EQ(ThermalZoneMath::pressure({}, false), ThermalPressure::nominal);
}

TEST(ThermalZoneMath, TheHottestZoneDecides) {
    std::vector<ThermalZone> zones{zoneAt(30000, laptopTrips), zoneAt(90000, laptopTrips), zoneAt(20000, {})};
    EXPECT_EQ(ThermalZoneMath::pressure(zones, false), ThermalPressure::serious);
}

TEST(ThermalZoneMath, AZoneWithoutTemperatureOrWithPlaceholderTripsIsIgnored) {
    std::vector<ThermalZone> zones{{std::nullopt, laptopTrips}, zoneAt(40000, {{"critical", 0}})};
    EXPECT_EQ(ThermalZoneMath::pressure(zones, false), ThermalPressure::nominal);
}

TEST(ThermalZoneMath, ZoneAttributesPairTripTypesWithTheirTemperatures) {
    AttributeText::Attributes a{{"temp", "51000"},
                                {"trip_point_0_type", "critical"},
                                {"trip_point_0_temp", "120000"},
                                {"trip_point_1_type", "passive"},
                                {"trip_point_1_temp", "garbage"},
                                {"trip_point_2_type", "hot"}};
    auto zone = ThermalZoneMath::zone(a);
    EXPECT_EQ(zone.temperature, 51000);
    ASSERT_EQ(zone.tripPoints.size(), 1u);
    EXPECT_EQ(zone.tripPoints[0].type, "critical");
    EXPECT_EQ(zone.tripPoints[0].temperature, 120000);
}

}  // namespace
}  // namespace orv
