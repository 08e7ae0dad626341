#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include <functional>
#include <set>
#include <string>

#include "core/AppAggregate.h"
#include "core/DecodingError.h"
#include "core/JsonCoding.h"
#include "core/Snapshot.h"
#include "core/SystemSample.h"

namespace orv {
namespace {

SystemSample bareSystem() {
    SystemSample s;
    s.cpu.totalPercent = 12.5;
    s.cpu.userPercent = 10;
    s.cpu.systemPercent = 2.5;
    s.cpu.perCorePercent = {20, 5};
    s.memory.totalBytes = 8ull << 30;
    s.memory.usedBytes = 3ull << 30;
    s.disk.readBPS = 4096;
    s.network.inBPS = 100;
    s.network.primaryInterface = "eth0";
    s.thermal = ThermalPressure::fair;
    s.uptime = Duration::seconds(3600) + Duration::milliseconds(250);
    return s;
}

AppIdentity firefox() {
    return AppIdentity{"org.mozilla.firefox", "Firefox", std::nullopt, "org.mozilla.firefox", AppIdentity::Kind::app};
}

AppAggregate aggregate() {
    AppAggregate a;
    a.app = firefox();
    a.processCount = 3;
    a.cpuPercent = 41.5;
    a.memoryBytes = 900ull << 20;
    a.diskReadBPS = 10;
    a.diskWriteBPS = 20;
    a.energyImpact = 12.25;
    return a;
}

ProcessSample process() {
    ProcessSample p;
    p.pid = 4711;
    p.app = "org.mozilla.firefox";
    p.name = "firefox";
    p.cpuPercent = 30;
    p.footprintBytes = 500ull << 20;
    p.energyImpact = 9;
    return p;
}

Snapshot snapshot() {
    return Snapshot{Date{785'000'000.125}, Duration::seconds(1), bareSystem(), {aggregate()}, {process()}};
}

const boost::json::object& asObject(const boost::json::value& v) { return v.as_object(); }

TEST(SystemSample, WithoutBatteryGPUAndSensorsHasNoSuchKeysAndDecodesBackEqual) {
    auto text = json::encode(bareSystem());
    auto object = asObject(boost::json::parse(text));
    EXPECT_FALSE(object.contains("battery"));
    EXPECT_FALSE(object.contains("gpu"));
    EXPECT_FALSE(object.contains("sensors"));
    EXPECT_EQ(json::decode<SystemSample>(text), bareSystem());
}

TEST(SystemSample, KeysAreExactlyTheFieldNames) {
    auto s = bareSystem();
    s.gpu = GPUStats{"Radeon", 12, std::nullopt};
    s.sensors = SensorStats{};
    BatteryStats battery;
    battery.percent = 80;
    s.battery = battery;
    auto object = asObject(boost::json::parse(json::encode(s)));
    std::set<std::string> keys;
    for (const auto& field : object) keys.insert(std::string(field.key()));
    EXPECT_EQ(keys, (std::set<std::string>{"cpu", "memory", "disk", "network", "gpu", "battery", "sensors",
                                           "thermal", "uptime"}));
    EXPECT_EQ(json::decode<SystemSample>(json::encode(s)), s);
}

TEST(SystemSample, UptimeIsADurationPairAndThermalABareString) {
    auto object = asObject(boost::json::parse(json::encode(bareSystem())));
    auto expected = bareSystem().uptime;
    auto uptime = object.at("uptime").as_array();
    ASSERT_EQ(uptime.size(), 2u);
    EXPECT_EQ(uptime[0].to_number<int64_t>(), expected.high());
    EXPECT_EQ(uptime[1].to_number<uint64_t>(), expected.low());
    EXPECT_EQ(object.at("thermal"), "fair");
}

TEST(AppAggregate, AbsentOptionalsLeaveTheirKeysOut) {
    auto object = asObject(boost::json::parse(json::encode(aggregate())));
    EXPECT_FALSE(object.contains("energyMW"));
    EXPECT_FALSE(object.contains("netInBPS"));
    EXPECT_FALSE(object.contains("netOutBPS"));
    EXPECT_FALSE(object.contains("gpuPercent"));
    EXPECT_EQ(object.at("energyImpact"), 12.25);
    EXPECT_EQ(object.at("processCount"), 3);
    EXPECT_EQ(object.at("memoryBytes"), 900ull << 20);
    EXPECT_FALSE(asObject(object.at("app")).contains("bundleID"));
}

TEST(AppAggregate, RoundTripsEveryField) {
    auto a = aggregate();
    a.energyMW = 120.5;
    a.netInBPS = 1;
    a.netOutBPS = 2;
    a.gpuPercent = 3;
    a.app.bundleID = "org.mozilla.firefox";
    EXPECT_EQ(json::decode<AppAggregate>(json::encode(a)), a);
}

TEST(AppAggregate, MissingRequiredKeyFailsAsKeyNotFound) {
    try {
        json::decode<AppAggregate>(R"({"app":{"id":"a","name":"a","iconKey":"a","kind":"app"},"processCount":1,
            "cpuPercent":1,"diskReadBPS":0,"diskWriteBPS":0})");
        FAIL() << "decoded without memoryBytes";
    } catch (const json::DecodingError& e) {
        EXPECT_EQ(e.kind(), json::DecodingError::Kind::keyNotFound);
    }
}

TEST(AppAggregate, WrongTypeFailsAsTypeMismatch) {
    auto text = json::encode(aggregate());
    text.replace(text.find("\"processCount\":3"), 16, "\"processCount\":\"3\"");
    try {
        json::decode<AppAggregate>(text);
        FAIL() << "decoded a string as a count";
    } catch (const json::DecodingError& e) {
        EXPECT_EQ(e.kind(), json::DecodingError::Kind::typeMismatch);
    }
}

TEST(AppAggregate, AnUnknownKindFailsAsDataCorrupted) {
    auto text = json::encode(aggregate());
    text.replace(text.find("\"kind\":\"app\""), 12, "\"kind\":\"daemon\"");
    try {
        json::decode<AppAggregate>(text);
        FAIL() << "decoded an unknown kind";
    } catch (const json::DecodingError& e) {
        EXPECT_EQ(e.kind(), json::DecodingError::Kind::dataCorrupted);
    }
}

TEST(Snapshot, KeysAreExactlyTheFieldNamesAndItRoundTrips) {
    auto text = json::encode(snapshot());
    auto object = asObject(boost::json::parse(text));
    std::set<std::string> keys;
    for (const auto& field : object) keys.insert(std::string(field.key()));
    EXPECT_EQ(keys, (std::set<std::string>{"at", "interval", "system", "apps", "processes"}));
    EXPECT_EQ(object.at("at"), 785'000'000.125);
    EXPECT_EQ(json::decode<Snapshot>(text), snapshot());
}

TEST(Snapshot, UnknownKeysAreIgnored) {
    auto text = json::encode(snapshot());
    text.insert(1, R"("comment":"from a newer writer",)");
    EXPECT_EQ(json::decode<Snapshot>(text), snapshot());
}

TEST(Snapshot, EqualityAndHashCoverEveryField) {
    auto a = snapshot();
    auto b = snapshot();
    EXPECT_EQ(a, b);
    EXPECT_EQ(std::hash<Snapshot>{}(a), std::hash<Snapshot>{}(b));
    b.apps[0].app.kind = AppIdentity::Kind::terminal;
    EXPECT_NE(a, b);
    EXPECT_NE(std::hash<Snapshot>{}(a), std::hash<Snapshot>{}(b));
    b = snapshot();
    b.system.uptime = Duration::seconds(1);
    EXPECT_NE(a, b);
}

TEST(Snapshot, AnEmptyPassEncodesEmptyLists) {
    Snapshot empty;
    auto object = asObject(boost::json::parse(json::encode(empty)));
    EXPECT_TRUE(object.at("apps").as_array().empty());
    EXPECT_TRUE(object.at("processes").as_array().empty());
    EXPECT_EQ(json::decode<Snapshot>(json::encode(empty)), empty);
}

}  // namespace
}  // namespace orv
