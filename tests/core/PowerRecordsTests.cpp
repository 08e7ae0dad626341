#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include "core/BatteryStats.h"
#include "core/GPUStats.h"
#include "core/JsonCoding.h"
#include "core/SensorStats.h"
#include "core/ThermalPressure.h"

namespace orv {
namespace {

boost::json::value parsed(const std::string& text) { return boost::json::parse(text); }

TEST(PowerRecords, BatteryStatsOnACEncodesItsSourceAsTheString) {
    BatteryStats stats{55.5, true, BatteryStats::PowerSource::ac, Duration::seconds(5400), 312, 91.0, 0.0};
    auto v = parsed(json::encode(stats));
    EXPECT_EQ(v.as_object().size(), 7u);
    EXPECT_EQ(v.as_object().at("timeRemaining"), parsed(json::encode(Duration::seconds(5400))));
    auto object = v.as_object();
    EXPECT_EQ(object.at("source").as_string(), "ac");
    EXPECT_EQ(json::decode<BatteryStats>(json::encode(stats)), stats);
}

TEST(PowerRecords, BatteryStatsWithoutOptionalsHasOnlyItsThreeRequiredKeys) {
    BatteryStats stats{12, false, BatteryStats::PowerSource::battery, {}, {}, {}, {}};
    auto object = parsed(json::encode(stats)).as_object();
    EXPECT_EQ(object.size(), 3u);
    EXPECT_EQ(object.at("source").as_string(), "battery");
    EXPECT_EQ(json::decode<BatteryStats>(json::encode(stats)), stats);
}

TEST(PowerRecords, UnknownPowerSourceFailsToDecode) {
    EXPECT_THROW(json::decode<BatteryStats>(R"({"percent":1,"isCharging":false,"source":"solar"})"),
                 json::DecodingError);
}

TEST(PowerRecords, GPUStatsKeys) {
    GPUStats stats{"Radeon RX 7600", 42.5, 1ull << 33};
    auto object = parsed(json::encode(stats)).as_object();
    EXPECT_EQ(object.at("name").as_string(), "Radeon RX 7600");
    EXPECT_EQ(object.at("utilizationPercent").as_double(), 42.5);
    EXPECT_EQ(object.at("memoryInUseBytes").to_number<uint64_t>(), 1ull << 33);
    EXPECT_EQ(json::decode<GPUStats>(json::encode(stats)), stats);
    EXPECT_FALSE(parsed(json::encode(GPUStats{"GPU", 0, {}})).as_object().contains("memoryInUseBytes"));
}

TEST(PowerRecords, ThermalPressureIsItsCaseName) {
    EXPECT_EQ(json::encode(ThermalPressure::serious), "\"serious\"");
    EXPECT_EQ(json::decode<ThermalPressure>("\"critical\""), ThermalPressure::critical);
}

TEST(PowerRecords, SensorStatsRoundTripsWithItsThreeLists) {
    SensorStats stats{{{"coretemp Core 0", "coretemp Core 0", 48.0}},
                      {{0, 1200, 300.0, {}}},
                      {{"AA:BB:CC:DD:EE:FF-left", "Buds (left)", PeripheralBattery::Kind::airPods, 80}}};
    auto object = parsed(json::encode(stats)).as_object();
    EXPECT_EQ(object.at("peripherals").as_array()[0].as_object().at("kind").as_string(), "airPods");
    auto fan = object.at("fans").as_array()[0].as_object();
    EXPECT_EQ(fan.at("minRPM").as_double(), 300.0);
    EXPECT_FALSE(fan.contains("maxRPM"));
    auto temperature = object.at("temperatures").as_array()[0].as_object();
    EXPECT_EQ(temperature.size(), 3u);
    EXPECT_EQ(temperature.at("celsius").as_double(), 48.0);
    EXPECT_EQ(json::decode<SensorStats>(json::encode(stats)), stats);
}

TEST(PowerRecords, RecordsThatDifferInOneFieldHashAndCompareApart) {
    TemperatureReading a{"x", "x", 40};
    TemperatureReading b{"x", "x", 41};
    EXPECT_NE(a, b);
    EXPECT_NE(std::hash<TemperatureReading>{}(a), std::hash<TemperatureReading>{}(b));
}

}  // namespace
}  // namespace orv
