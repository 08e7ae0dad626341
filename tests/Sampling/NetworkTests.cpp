#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "Sampling/CounterMath.h"
#include "Sampling/NetworkMath.h"
#include "Sampling/NetworkSampler.h"
#include "core/JsonCoding.h"
#include "core/SamplingError.h"

namespace orv {
namespace {

using Counters = std::map<std::string, uint64_t>;

TEST(CounterMath, NoPreviousReadingIsZero) {
    EXPECT_EQ(CounterMath::rate(std::optional<Counters>{}, Counters{{"a", 100}}, 1.0), 0);
}

TEST(CounterMath, IntervalNotAboveZeroIsZero) {
    std::optional<Counters> previous = Counters{{"a", 0}};
    EXPECT_EQ(CounterMath::rate(previous, Counters{{"a", 100}}, 0.0), 0);
    EXPECT_EQ(CounterMath::rate(previous, Counters{{"a", 100}}, -1.0), 0);
    EXPECT_EQ(CounterMath::rate(previous, Counters{{"a", 100}}, std::nan("")), 0);
}

TEST(CounterMath, SumsGrowthPerSecond) {
    std::optional<Counters> previous = Counters{{"a", 100}, {"b", 1000}};
    EXPECT_DOUBLE_EQ(CounterMath::rate(previous, Counters{{"a", 300}, {"b", 1400}}, 2.0), 300);
}

TEST(CounterMath, ResetCounterAddsNothingWhileOthersCount) {
    std::optional<Counters> previous = Counters{{"a", 5000}, {"b", 1000}};
    EXPECT_DOUBLE_EQ(CounterMath::rate(previous, Counters{{"a", 10}, {"b", 1500}}, 1.0), 500);
}

TEST(CounterMath, NewKeysAddNothingAndVanishedKeysAreIgnored) {
    std::optional<Counters> previous = Counters{{"a", 100}, {"gone", 7}};
    EXPECT_DOUBLE_EQ(CounterMath::rate(previous, Counters{{"a", 200}, {"new", 999999}}, 1.0), 100);
}

TEST(NetworkMath, EnInterfacesCount) {
    EXPECT_TRUE(NetworkMath::isEthernetClassName("en0"));
    EXPECT_TRUE(NetworkMath::isEthernetClassName("en12"));
}

TEST(NetworkMath, OtherInterfacesDoNotCount) {
    for (const char* name : {"lo0", "utun3", "awdl0", "llw0", "bridge100", "ap1", "anpi0", "gif0", "stf0", "pdp_ip0"}) {
        EXPECT_FALSE(NetworkMath::isEthernetClassName(name)) << name;
    }
}

TEST(NetworkMath, RatesOverBothDirections) {
    InterfaceCounterMap previous{{"en0", {100, 10}}, {"en1", {0, 0}}};
    InterfaceCounterMap current{{"en0", {300, 50}}, {"en1", {100, 100}}};
    auto [in, out] = NetworkMath::rates(&previous, current, 2.0);
    EXPECT_DOUBLE_EQ(in, 150);
    EXPECT_DOUBLE_EQ(out, 70);
}

struct FakeNetworkState {
    std::vector<InterfaceCounterMap> readings;
    size_t reads = 0;
    int countProbes = 0;
    std::optional<SamplingError> failNext;
    std::optional<std::string> primary;
    int64_t nowNanoseconds = 0;
};

class FakeNetworkPort : public NetworkPort {
public:
    explicit FakeNetworkPort(std::shared_ptr<FakeNetworkState> s) : s_(std::move(s)) {}
    // Counts by the macOS name rule, as the macOS port does.
    InterfaceCounterMap readCounters(CountedDeviceCache<std::string>& counted) override {
        if (s_->failNext) {
            auto error = *s_->failNext;
            s_->failNext.reset();
            throw error;
        }
        InterfaceCounterMap out = s_->readings.at(s_->reads++);
        std::erase_if(out, [&](const auto& entry) {
            return !counted.counts(entry.first, [&] {
                ++s_->countProbes;
                return NetworkMath::isEthernetClassName(entry.first);
            });
        });
        return out;
    }
    std::optional<std::string> primaryInterface() override { return s_->primary; }

private:
    std::shared_ptr<FakeNetworkState> s_;
};

std::pair<std::shared_ptr<FakeNetworkState>, std::unique_ptr<NetworkSampler>> makeSampler() {
    auto state = std::make_shared<FakeNetworkState>();
    auto sampler = std::make_unique<NetworkSampler>(std::make_unique<FakeNetworkPort>(state),
                                                    SamplingExecutor::shared(), [state] {
                                                        return ContinuousClock::Instant{state->nowNanoseconds};
                                                    });
    return {state, std::move(sampler)};
}

TEST(NetworkSampler, FirstSampleIsZeroAndStoresTheCounters) {
    auto [state, sampler] = makeSampler();
    state->readings = {{{"en0", {1000, 500}}}, {{"en0", {3000, 1500}}}};
    auto first = sampler->sampleNow();
    EXPECT_EQ(first.inBPS, 0);
    EXPECT_EQ(first.outBPS, 0);
    state->nowNanoseconds = 2'000'000'000;
    auto second = sampler->sampleNow();
    EXPECT_DOUBLE_EQ(second.inBPS, 1000);
    EXPECT_DOUBLE_EQ(second.outBPS, 500);
}

TEST(NetworkSampler, ResetInterfaceContributesZeroWhileOthersCount) {
    auto [state, sampler] = makeSampler();
    state->readings = {{{"en0", {1000, 1000}}, {"en1", {500, 500}}}, {{"en0", {10, 10}}, {"en1", {700, 600}}}};
    sampler->sampleNow();
    state->nowNanoseconds = 1'000'000'000;
    auto stats = sampler->sampleNow();
    EXPECT_DOUBLE_EQ(stats.inBPS, 200);
    EXPECT_DOUBLE_EQ(stats.outBPS, 100);
}

TEST(NetworkSampler, NewInterfaceCountsFromTheSampleAfterItAppeared) {
    auto [state, sampler] = makeSampler();
    state->readings = {{{"en0", {0, 0}}}, {{"en0", {0, 0}}, {"en5", {9000, 9000}}}, {{"en0", {0, 0}}, {"en5", {9100, 9000}}}};
    sampler->sampleNow();
    state->nowNanoseconds = 1'000'000'000;
    EXPECT_EQ(sampler->sampleNow().inBPS, 0);
    state->nowNanoseconds = 2'000'000'000;
    EXPECT_DOUBLE_EQ(sampler->sampleNow().inBPS, 100);
}

TEST(NetworkSampler, FailedDumpThrowsAndChangesNothing) {
    auto [state, sampler] = makeSampler();
    state->readings = {{{"en0", {0, 0}}}, {{"en0", {400, 0}}}};
    sampler->sampleNow();
    state->failNext = SamplingError::sysctl("NET_RT_IFLIST2", 5);
    state->nowNanoseconds = 1'000'000'000;
    EXPECT_THROW(sampler->sample().get(), SamplingError);
    state->nowNanoseconds = 2'000'000'000;
    EXPECT_DOUBLE_EQ(sampler->sampleNow().inBPS, 200);  // over both seconds since the last good sample
}

TEST(NetworkSampler, OnlyCountedInterfacesContribute) {
    auto [state, sampler] = makeSampler();
    state->readings = {{{"en0", {100, 10}}, {"lo0", {0, 0}}}, {{"en0", {300, 50}}, {"lo0", {1000000, 1000000}}}};
    sampler->sampleNow();
    state->nowNanoseconds = 2'000'000'000;
    auto stats = sampler->sampleNow();
    EXPECT_DOUBLE_EQ(stats.inBPS, 100);
    EXPECT_DOUBLE_EQ(stats.outBPS, 20);
}

TEST(NetworkSampler, EachInterfaceIsAskedAboutOnceAndForgottenWhenItGoes) {
    auto [state, sampler] = makeSampler();
    state->readings = {{{"en0", {}}, {"utun3", {}}}, {{"en0", {}}, {"utun3", {}}}, {{"en0", {}}}};
    sampler->sampleNow();
    sampler->sampleNow();
    EXPECT_EQ(state->countProbes, 2);
    EXPECT_TRUE(sampler->countedInterfaces().contains("utun3"));
    sampler->sampleNow();
    EXPECT_FALSE(sampler->countedInterfaces().contains("utun3"));
    EXPECT_EQ(sampler->countedInterfaces().size(), 1u);
}

TEST(NetworkSampler, ReportsThePortsPrimaryInterface) {
    auto [state, sampler] = makeSampler();
    state->readings = {{}, {}};
    state->primary = "en0";
    EXPECT_EQ(sampler->sampleNow().primaryInterface, "en0");
    state->primary.reset();
    EXPECT_FALSE(sampler->sampleNow().primaryInterface);
}

TEST(NetworkStats, AbsentPrimaryInterfaceIsLeftOutOfJSON) {
    EXPECT_EQ(json::encode(NetworkStats{1, 2, std::nullopt}).find("primaryInterface"), std::string::npos);
    NetworkStats stats{1.5, 2.5, "en0"};
    EXPECT_EQ(json::decode<NetworkStats>(json::encode(stats)), stats);
}

}  // namespace
}  // namespace orv
