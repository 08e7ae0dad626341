#include <gtest/gtest.h>

#include "Sampling/GPUSampler.h"
#include "core/CapturingLogSink.h"

namespace orv {
namespace {

using Dict = PropertyValue::Dictionary;

struct FakeGPUPort : GPUPort {
    struct Script {
        bool hasDevice = true;
        std::optional<std::string> model = "Apple M2";
        std::optional<PropertyValue> statistics;
        std::vector<PropertyValue> clients;
        int searches = 0;
        int releases = 0;
    };
    std::shared_ptr<Script> script;
    bool held = false;
    explicit FakeGPUPort(std::shared_ptr<Script> s) : script(std::move(s)) {}

    std::optional<Device> holdDevice() override {
        ++script->searches;
        if (!script->hasDevice) return std::nullopt;
        held = true;
        return Device{script->model};
    }
    bool holdsDevice() const override { return held; }
    void releaseDevice() override {
        ++script->releases;
        held = false;
    }
    std::optional<PropertyValue> performanceStatistics() override { return script->statistics; }
    std::vector<PropertyValue> clientProperties() override { return script->clients; }
};

struct Fixture {
    std::shared_ptr<FakeGPUPort::Script> script = std::make_shared<FakeGPUPort::Script>();
    GPUSampler sampler{std::make_unique<FakeGPUPort>(script)};
    Fixture() { script->statistics.emplace(Dict{{"Device Utilization %", 30}}); }
};

TEST(GPUSampler, NoDeviceGivesNoStatsAndOneLogLinePerAttempt) {
    ScopedLogCapture capture;
    Fixture f;
    f.script->hasDevice = false;
    EXPECT_FALSE(f.sampler.stats());
    EXPECT_FALSE(f.sampler.stats());
    EXPECT_TRUE(f.sampler.processGPUTimes().empty());
    auto entries = capture.sink().entries();
    ASSERT_EQ(entries.size(), 3u);
    for (const auto& e : entries) {
        EXPECT_EQ(e.message, "no IOAccelerator with PerformanceStatistics");
        EXPECT_EQ(e.subsystem, "app.orvantine.sampling");
        EXPECT_EQ(e.category, "sampling");
        EXPECT_EQ(e.level, LogLevel::info);
    }
}

TEST(GPUSampler, StatsCarryTheModelName) {
    Fixture f;
    auto stats = f.sampler.stats();
    EXPECT_EQ(stats, (GPUStats{"Apple M2", 30, {}}));
}

TEST(GPUSampler, WithoutAModelTheNameIsGPU) {
    Fixture f;
    f.script->model.reset();
    EXPECT_EQ(f.sampler.stats()->name, "GPU");
}

TEST(GPUSampler, TheDeviceIsKeptBetweenCalls) {
    ScopedLogCapture capture;
    Fixture f;
    f.sampler.stats();
    f.sampler.stats();
    f.sampler.processGPUTimes();
    EXPECT_EQ(f.script->searches, 1);
    EXPECT_TRUE(capture.messages().empty());
}

TEST(GPUSampler, UnreadableStatisticsDropTheDeviceForANewSearch) {
    Fixture f;
    f.script->statistics.reset();
    EXPECT_FALSE(f.sampler.stats());
    EXPECT_EQ(f.script->releases, 1);
    f.script->statistics.emplace(PropertyValue::Array{});  // not a dictionary
    EXPECT_FALSE(f.sampler.stats());
    EXPECT_EQ(f.script->searches, 2);
    EXPECT_EQ(f.script->releases, 2);
}

TEST(GPUSampler, ProcessTimesComeFromTheClients) {
    Fixture f;
    PropertyValue::Array usage{PropertyValue(Dict{{"accumulatedGPUTime", 40}})};
    f.script->clients = {PropertyValue(Dict{{"IOUserClientCreator", "pid 812, Safari"}, {"AppUsage", usage}})};
    EXPECT_EQ(f.sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{812, 40}}));
}

}  // namespace
}  // namespace orv
