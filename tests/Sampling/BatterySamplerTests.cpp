#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Sampling/BatterySampler.h"

namespace orv {
namespace {

using Dict = PropertyValue::Dictionary;

// A scripted platform: one internal battery and a smart-battery service
// whose reads are recorded key by key.
struct FakeBatteryPort : BatteryPort {
    struct Script {
        std::optional<std::vector<PropertyValue>> descriptions;
        bool serviceExists = true;
        Dict registry;
        std::vector<std::string> keysRead;
        int searches = 0;
        int releases = 0;
    };
    std::shared_ptr<Script> script;
    bool held = false;

    explicit FakeBatteryPort(std::shared_ptr<Script> s) : script(std::move(s)) {}

    std::optional<std::vector<PropertyValue>> powerSourceDescriptions() override { return script->descriptions; }
    bool holdSmartBattery() override {
        ++script->searches;
        held = script->serviceExists;
        return held;
    }
    bool holdsSmartBattery() const override { return held; }
    void releaseSmartBattery() override {
        ++script->releases;
        held = false;
    }
    Dict readSmartBattery(std::span<const std::string_view> keys) override {
        Dict out;
        for (auto key : keys) {
            script->keysRead.emplace_back(key);
            if (auto it = script->registry.find(key); it != script->registry.end()) out.emplace(it->first, it->second);
        }
        return out;
    }
};

struct Fixture {
    std::shared_ptr<FakeBatteryPort::Script> script = std::make_shared<FakeBatteryPort::Script>();
    ContinuousClock::Instant now{1'000'000'000};
    BatterySampler sampler{std::make_unique<FakeBatteryPort>(script), [this] { return now; }};

    Fixture() {
        script->descriptions = std::vector<PropertyValue>{PropertyValue(Dict{
            {"Type", "InternalBattery"}, {"Current Capacity", 80}, {"Max Capacity", 100}, {"Is Charging", false}})};
        script->registry = Dict{{"CycleCount", 100}, {"AppleRawMaxCapacity", 4500}, {"DesignCapacity", 5000},
                                {"Amperage", -1000}, {"Voltage", 12000}};
    }
};

const std::vector<std::string> healthAndLive{"CycleCount", "AppleRawMaxCapacity", "NominalChargeCapacity",
                                             "DesignCapacity", "BatteryData", "Amperage", "Voltage"};
const std::vector<std::string> liveOnly{"Amperage", "Voltage"};

TEST(BatterySampler, FirstCallReadsHealthThenLiveKeys) {
    Fixture f;
    auto stats = f.sampler.sample();
    ASSERT_TRUE(stats);
    EXPECT_EQ(stats->cycleCount, 100);
    EXPECT_DOUBLE_EQ(*stats->maxCapacityPercent, 90.0);
    EXPECT_DOUBLE_EQ(*stats->powerDrawWatts, 12.0);
    EXPECT_EQ(f.script->keysRead, healthAndLive);
}

TEST(BatterySampler, SecondCallWithin300SecondsReadsOnlyAmperageAndVoltage) {
    Fixture f;
    f.sampler.sample();
    f.script->keysRead.clear();
    f.script->registry["CycleCount"] = 101;
    f.script->registry["Amperage"] = -2000;
    f.now = f.now + Duration::seconds(299);
    auto stats = f.sampler.sample();
    EXPECT_EQ(f.script->keysRead, liveOnly);
    EXPECT_EQ(stats->cycleCount, 100);  // still the cached health
    EXPECT_DOUBLE_EQ(*stats->powerDrawWatts, 24.0);
}

TEST(BatterySampler, HealthIsReadAgainAfter300Seconds) {
    Fixture f;
    f.sampler.sample();
    f.script->keysRead.clear();
    f.script->registry["CycleCount"] = 101;
    f.now = f.now + Duration::seconds(300);
    auto stats = f.sampler.sample();
    EXPECT_EQ(f.script->keysRead, healthAndLive);
    EXPECT_EQ(stats->cycleCount, 101);
}

TEST(BatterySampler, NoInternalBatteryIsAbsent) {
    Fixture f;
    f.script->descriptions = std::vector<PropertyValue>{PropertyValue(Dict{{"Type", "UPS"}})};
    EXPECT_FALSE(f.sampler.sample());
    f.script->descriptions.reset();
    EXPECT_FALSE(f.sampler.sample());
    EXPECT_TRUE(f.script->keysRead.empty());
}

TEST(BatterySampler, WithoutServiceTheStatsHaveNoHealthAndTheSearchIsRepeated) {
    Fixture f;
    f.script->serviceExists = false;
    auto stats = f.sampler.sample();
    ASSERT_TRUE(stats);
    EXPECT_DOUBLE_EQ(stats->percent, 80);
    EXPECT_FALSE(stats->cycleCount);
    f.sampler.sample();
    EXPECT_EQ(f.script->searches, 2);
}

TEST(BatterySampler, ServiceIsKeptBetweenCalls) {
    Fixture f;
    f.sampler.sample();
    f.sampler.sample();
    EXPECT_EQ(f.script->searches, 1);
}

TEST(BatterySampler, AServiceThatYieldsNothingIsReleasedWithItsCache) {
    Fixture f;
    f.sampler.sample();
    f.script->registry.clear();
    f.now = f.now + Duration::seconds(400);
    auto stats = f.sampler.sample();
    ASSERT_TRUE(stats);
    EXPECT_FALSE(stats->cycleCount);
    EXPECT_EQ(f.script->releases, 1);
    f.sampler.sample();
    EXPECT_EQ(f.script->searches, 2);
}

TEST(BatterySampler, LiveKeysAloneStillGiveADraw) {
    Fixture f;
    f.script->registry = Dict{{"Amperage", -500}, {"Voltage", 10000}};
    auto stats = f.sampler.sample();
    EXPECT_DOUBLE_EQ(*stats->powerDrawWatts, 5.0);
    EXPECT_EQ(f.script->releases, 0);
}

}  // namespace
}  // namespace orv
