#include <gtest/gtest.h>

#include "Sampling/ProcessNetworkMath.h"
#include "core/JsonCoding.h"

namespace orv {
namespace {

using namespace ProcessNetworkMath;

ProcessReading reading(int32_t pid, double startSeconds, uint32_t uid = 501) {
    ProcessReading r;
    r.pid = pid;
    r.uid = uid;
    r.startTime = Date{startSeconds};
    return r;
}

TEST(ProcessNetworkMath, AFirstSightingGetsZeroRatesAndACounter) {
    auto result = rates({}, {{7, {1000, 200}}}, {reading(7, 10)}, std::nullopt, 1.0);
    EXPECT_EQ(result.rates.at(7), (Rate{0, 0}));
    EXPECT_EQ(result.counters.at(7), (Counter{Date{10}, 1000, 200}));
}

TEST(ProcessNetworkMath, RatesAreTheGrowthOverTheInterval) {
    CountersByPID previous{{7, {Date{10}, 1000, 200}}};
    auto result = rates(previous, {{7, {3000, 1200}}}, {reading(7, 10)}, std::nullopt, 2.0);
    EXPECT_EQ(result.rates.at(7), (Rate{1000, 500}));
}

TEST(ProcessNetworkMath, APidWithAnotherStartTimeStartsAgainFromZero) {
    CountersByPID previous{{7, {Date{10}, 1000, 200}}};
    auto result = rates(previous, {{7, {3000, 1200}}}, {reading(7, 11)}, std::nullopt, 1.0);
    EXPECT_EQ(result.rates.at(7), (Rate{0, 0}));
    EXPECT_EQ(result.counters.at(7).startTime, Date{11});
}

TEST(ProcessNetworkMath, AnIntervalThatIsNotPositiveGivesZeroForEveryone) {
    CountersByPID previous{{7, {Date{10}, 1000, 200}}};
    for (double elapsed : {0.0, -1.0}) {
        auto result = rates(previous, {{7, {3000, 1200}}}, {reading(7, 10)}, std::nullopt, elapsed);
        EXPECT_EQ(result.rates.at(7), (Rate{0, 0}));
    }
}

TEST(ProcessNetworkMath, AProcessWithoutSocketsCountsZeroAndThenRatesZero) {
    auto first = rates({}, {}, {reading(7, 10)}, std::nullopt, 1.0);
    EXPECT_EQ(first.counters.at(7), (Counter{Date{10}, 0, 0}));
    auto second = rates(first.counters, {}, {reading(7, 10)}, std::nullopt, 1.0);
    EXPECT_EQ(second.rates.at(7), (Rate{0, 0}));
}

TEST(ProcessNetworkMath, CountsThatWentBackwardsGiveZeroForThatDirectionOnly) {
    CountersByPID previous{{7, {Date{10}, 1000, 200}}};
    auto result = rates(previous, {{7, {500, 400}}}, {reading(7, 10)}, std::nullopt, 1.0);
    EXPECT_EQ(result.rates.at(7), (Rate{0, 200}));
}

TEST(ProcessNetworkMath, AUidFilterLeavesOtherUsersWithoutRatesOrCounters) {
    auto result = rates({}, {{7, {1, 1}}, {8, {1, 1}}}, {reading(7, 10, 501), reading(8, 10, 0)}, 501u, 1.0);
    EXPECT_TRUE(result.rates.contains(7));
    EXPECT_FALSE(result.rates.contains(8));
    EXPECT_FALSE(result.counters.contains(8));
}

TEST(ProcessNetworkMath, ALaterReadingOfTheSamePidOverwritesTheCounter) {
    auto result = rates({}, {{7, {5, 5}}}, {reading(7, 10), reading(7, 12)}, std::nullopt, 1.0);
    EXPECT_EQ(result.counters.at(7).startTime, Date{12});
}

TEST(ProcessNetworkMath, AnEmptyReadingListGivesNothing) {
    auto result = rates({{7, {Date{10}, 1, 1}}}, {{7, {5, 5}}}, {}, std::nullopt, 1.0);
    EXPECT_TRUE(result.rates.empty());
    EXPECT_TRUE(result.counters.empty());
}

TEST(ProcessNetworkMath, ApplyWithNoRatesReturnsTheSamplesUnchanged) {
    ProcessSample a;
    a.pid = 1;
    ProcessSample b;
    b.pid = 2;
    b.netInBPS = 9;
    std::vector<ProcessSample> samples{a, b};
    EXPECT_EQ(apply({}, samples), samples);
}

TEST(ProcessNetworkMath, ApplySetsTheRatesOfKnownPidsAndKeepsOrderAndTheRest) {
    ProcessSample a;
    a.pid = 1;
    a.name = "a";
    ProcessSample b;
    b.pid = 2;
    auto applied = apply({{2, {10, 20}}}, {a, b});
    ASSERT_EQ(applied.size(), 2u);
    EXPECT_EQ(applied[0], a);  // absent stays absent
    EXPECT_EQ(applied[1].netInBPS, 10);
    EXPECT_EQ(applied[1].netOutBPS, 20);
}

TEST(ProcessNetworkMath, CounterAndRateEncodeUnderTheirKeys) {
    EXPECT_EQ(json::encode(Counter{Date{1.5}, 2, 3}), R"({"startTime":1.5,"rx":2,"tx":3})");
    EXPECT_EQ(json::encode(Rate{1, 2}), R"({"inBPS":1.0,"outBPS":2.0})");
    EXPECT_EQ(json::decode<Counter>(R"({"startTime":1.5,"rx":2,"tx":3})"), (Counter{Date{1.5}, 2, 3}));
}

}  // namespace
}  // namespace orv
