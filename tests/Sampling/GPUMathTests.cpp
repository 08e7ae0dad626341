#include <gtest/gtest.h>

#include "Sampling/GPUMath.h"

namespace orv {
namespace {

using Dict = PropertyValue::Dictionary;
using Array = PropertyValue::Array;

PropertyValue userClient(const char* creator, std::vector<uint64_t> times) {
    Array usage;
    for (uint64_t t : times) usage.emplace_back(Dict{{"accumulatedGPUTime", PropertyValue(t)}});
    return PropertyValue(Dict{{"IOUserClientCreator", creator}, {"AppUsage", usage}});
}

TEST(GPUMath, UtilizationOf130ReadsOneHundred) {
    auto stats = GPUMath::stats(PropertyValue(Dict{{"Device Utilization %", 130}}), "M2");
    EXPECT_EQ(stats->utilizationPercent, 100);
    EXPECT_EQ(stats->name, "M2");
}

TEST(GPUMath, UtilizationOfMinusFiveReadsZero) {
    EXPECT_EQ(GPUMath::stats(PropertyValue(Dict{{"Device Utilization %", -5}}), "GPU")->utilizationPercent, 0);
}

TEST(GPUMath, MissingUtilizationGivesNoStats) {
    EXPECT_FALSE(GPUMath::stats(PropertyValue(Dict{{"In use system memory", 5}}), "GPU"));
}

TEST(GPUMath, MemoryInUseIsReadWhenPresent) {
    auto stats = GPUMath::stats(PropertyValue(Dict{{"Device Utilization %", 12.5}, {"In use system memory", 1 << 30}}), "GPU");
    EXPECT_EQ(stats->utilizationPercent, 12.5);
    EXPECT_EQ(stats->memoryInUseBytes, 1u << 30);
    EXPECT_FALSE(GPUMath::stats(PropertyValue(Dict{{"Device Utilization %", 1}}), "GPU")->memoryInUseBytes);
    auto real = GPUMath::stats(PropertyValue(Dict{{"Device Utilization %", 1}, {"In use system memory", 2048.0}}), "GPU");
    EXPECT_EQ(real->memoryInUseBytes, 2048u);
    auto text = GPUMath::stats(PropertyValue(Dict{{"Device Utilization %", 1}, {"In use system memory", "lots"}}), "GPU");
    EXPECT_FALSE(text->memoryInUseBytes);
}

TEST(GPUMath, CreatorWithPidCommaAndNameCountsForThatPid) {
    EXPECT_EQ(GPUMath::pidFromCreator("pid 812, WindowServer"), 812);
}

TEST(GPUMath, CreatorWithLettersForDigitsCountsForNobody) {
    EXPECT_EQ(GPUMath::pidFromCreator("pid abc, WindowServer"), std::nullopt);
}

TEST(GPUMath, CreatorWithoutLeadingPidCountsForNobody) {
    EXPECT_EQ(GPUMath::pidFromCreator("812, WindowServer"), std::nullopt);
    EXPECT_EQ(GPUMath::pidFromCreator("pid812, WindowServer"), std::nullopt);
    EXPECT_EQ(GPUMath::pidFromCreator(""), std::nullopt);
}

TEST(GPUMath, CreatorPidTakesASignAndIsMadeNonNegative) {
    EXPECT_EQ(GPUMath::pidFromCreator("pid +77, x"), 77);
    EXPECT_EQ(GPUMath::pidFromCreator("pid -1, x"), 0x7fffffff);
    EXPECT_EQ(GPUMath::pidFromCreator("pid 99999999999, x"), std::nullopt);
}

TEST(GPUMath, AppUsageSumsAccumulatedTimesAndCountsMissingAsZero) {
    Array usage{PropertyValue(Dict{{"accumulatedGPUTime", 10}}), PropertyValue(Dict{{"other", 1}}),
                PropertyValue(Dict{{"accumulatedGPUTime", 32}})};
    EXPECT_EQ(GPUMath::appUsageTotal(PropertyValue(usage)), 42u);
}

TEST(GPUMath, AppUsageThatIsNotAListOfDictionariesIsNothing) {
    EXPECT_EQ(GPUMath::appUsageTotal(PropertyValue(5)), std::nullopt);
    EXPECT_EQ(GPUMath::appUsageTotal(PropertyValue(Array{PropertyValue(3)})), std::nullopt);
}

TEST(GPUMath, TwoUserClientsOfOneProcessAddTheirTimes) {
    std::vector<PropertyValue> clients{userClient("pid 812, Safari", {100, 5}), userClient("pid 812, Safari", {50}),
                                       userClient("pid 9, Dock", {7})};
    auto times = GPUMath::processGPUTimes(clients);
    EXPECT_EQ(times, (std::map<int32_t, uint64_t>{{9, 7}, {812, 155}}));
}

TEST(GPUMath, ClientsWithoutCreatorOrUsageAreSkippedOrZero) {
    std::vector<PropertyValue> clients{PropertyValue(Dict{{"AppUsage", Array{}}}),
                                       PropertyValue(Dict{{"IOUserClientCreator", 5}}),
                                       PropertyValue(Dict{{"IOUserClientCreator", "pid 3, a"}})};
    EXPECT_EQ(GPUMath::processGPUTimes(clients), (std::map<int32_t, uint64_t>{{3, 0}}));
}

}  // namespace
}  // namespace orv
