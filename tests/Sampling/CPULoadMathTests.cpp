#include <gtest/gtest.h>

#include <cmath>

#include "Sampling/CPULoadMath.h"
#include "core/CPUStats.h"

namespace orv {
namespace {

using Loads = std::vector<std::pair<double, double>>;

TEST(CPULoadMath, FirstSampleMeasuresFromZero) {
    auto loads = CPULoadMath::coreLoads(std::nullopt, {CPUTicks{30, 10, 50, 10}});
    ASSERT_EQ(loads.size(), 1u);
    EXPECT_DOUBLE_EQ(loads[0].first, 40.0);   // user + nice over all four
    EXPECT_DOUBLE_EQ(loads[0].second, 10.0);
}

TEST(CPULoadMath, UsesPreviousTicksAsBaseline) {
    std::optional<std::vector<CPUTicks>> previous = std::vector<CPUTicks>{{100, 100, 100, 100}};
    auto loads = CPULoadMath::coreLoads(previous, {CPUTicks{150, 125, 125, 100}});
    EXPECT_DOUBLE_EQ(loads[0].first, 50.0);
    EXPECT_DOUBLE_EQ(loads[0].second, 25.0);
}

TEST(CPULoadMath, ChangedCoreCountMeasuresEveryCoreFromZero) {
    std::optional<std::vector<CPUTicks>> previous = std::vector<CPUTicks>{{90, 0, 0, 0}};
    auto loads = CPULoadMath::coreLoads(previous, {CPUTicks{100, 0, 100, 0}, CPUTicks{0, 50, 50, 0}});
    ASSERT_EQ(loads.size(), 2u);
    EXPECT_DOUBLE_EQ(loads[0].first, 50.0);   // not (10 / 110)
    EXPECT_DOUBLE_EQ(loads[1].second, 50.0);
}

TEST(CPULoadMath, WrappedCounterGivesTheSmallTrueDelta) {
    std::optional<std::vector<CPUTicks>> previous = std::vector<CPUTicks>{{0xFFFFFFF0u, 0, 0, 0}};
    // The 32-bit counter passed 2^32 and now reads 0x10: 32 ticks later.
    auto loads = CPULoadMath::coreLoads(previous, {CPUTicks{0x10, 0, 32, 0}});
    EXPECT_DOUBLE_EQ(loads[0].first, 50.0);
}

TEST(CPULoadMath, SixtyFourBitCounterThatStepsBackAddsNothing) {
    // Linux's iowait can step back by a tick; as a 32-bit wrap that would
    // be a 4.29e9-tick interval and the core would read about 0 %.
    std::optional<std::vector<CPUTicks>> previous = std::vector<CPUTicks>{{100, 0, 1000, 0}};
    auto loads = CPULoadMath::coreLoads(previous, {CPUTicks{150, 0, 999, 0}}, CPULoadMath::CounterWidth::monotonic64);
    EXPECT_DOUBLE_EQ(loads[0].first, 100.0);
    auto wrapped = CPULoadMath::coreLoads(previous, {CPUTicks{150, 0, 999, 0}});
    EXPECT_LT(wrapped[0].first, 0.01);
}

TEST(CPULoadMath, SixtyFourBitCountersAboveTwoToThe32AreExact) {
    std::optional<std::vector<CPUTicks>> previous = std::vector<CPUTicks>{{0x1'0000'0000ull, 0, 0x2'0000'0000ull, 0}};
    auto loads = CPULoadMath::coreLoads(previous, {CPUTicks{0x1'0000'0000ull + 25, 0, 0x2'0000'0000ull + 75, 0}},
                                        CPULoadMath::CounterWidth::monotonic64);
    EXPECT_DOUBLE_EQ(loads[0].first, 25.0);
}

TEST(CPULoadMath, AllDeltasZeroIsZeroZero) {
    std::optional<std::vector<CPUTicks>> previous = std::vector<CPUTicks>{{5, 5, 5, 5}, {7, 7, 7, 7}};
    auto loads = CPULoadMath::coreLoads(previous, {CPUTicks{5, 5, 5, 5}, CPUTicks{7, 7, 7, 7}});
    EXPECT_EQ(loads, (Loads{{0, 0}, {0, 0}}));
    auto stats = CPUStats::fromCoreLoads(loads, CPUTopology{}, LoadAverage::zero());
    EXPECT_EQ(stats.totalPercent, 0);
    EXPECT_EQ(stats.userPercent, 0);
    EXPECT_EQ(stats.systemPercent, 0);
}

CPUTopology twoLevels() {
    return CPUTopology{{{"Performance", 0, {2, 3}}, {"Efficiency", 1, {0, 1}}}};
}

TEST(CPUStats, AveragesTheRawPairsAndClampsPerCore) {
    auto stats = CPUStats::fromCoreLoads({{80, 30}, {10, 5}}, CPUTopology{}, LoadAverage::zero());
    EXPECT_EQ(stats.perCorePercent, (std::vector<double>{100, 15}));
    EXPECT_DOUBLE_EQ(stats.userPercent, 45);
    EXPECT_DOUBLE_EQ(stats.systemPercent, 17.5);
    EXPECT_DOUBLE_EQ(stats.totalPercent, 62.5);
}

TEST(CPUStats, ZeroCoresGiveZerosAndZeroClusters) {
    auto stats = CPUStats::fromCoreLoads({}, twoLevels(), LoadAverage::zero());
    EXPECT_TRUE(stats.perCorePercent.empty());
    EXPECT_EQ(stats.userPercent, 0);
    EXPECT_EQ(stats.systemPercent, 0);
    EXPECT_EQ(stats.totalPercent, 0);
    ASSERT_EQ(stats.clusters.size(), 2u);
    EXPECT_EQ(stats.clusters[0].percent, 0);
    EXPECT_EQ(stats.clusters[1].percent, 0);
}

TEST(CPUStats, ClusterBeyondTheCoresIsZeroAndKeepsItsIndexes) {
    CPUTopology topology{{{"CPU", 0, {4, 5, 9}}}};
    auto stats = CPUStats::fromCoreLoads({{50, 0}, {50, 0}}, topology, LoadAverage::zero());
    ASSERT_EQ(stats.clusters.size(), 1u);
    EXPECT_EQ(stats.clusters[0].percent, 0);
    EXPECT_EQ(stats.clusters[0].coreIndexes, (std::vector<int64_t>{4, 5, 9}));
}

TEST(CPUStats, ClusterMeanSkipsIndexesPastTheCoreCount) {
    CPUTopology topology{{{"CPU", 0, {0, 1, 7}}}};
    auto stats = CPUStats::fromCoreLoads({{20, 0}, {60, 0}}, topology, LoadAverage::zero());
    EXPECT_DOUBLE_EQ(stats.clusters[0].percent, 40);
}

TEST(CPUStats, ClustersFollowTheTopologyOrder) {
    auto stats = CPUStats::fromCoreLoads({{10, 0}, {10, 0}, {90, 0}, {70, 0}}, twoLevels(), LoadAverage{1, 2, 3});
    ASSERT_EQ(stats.clusters.size(), 2u);
    EXPECT_EQ(stats.clusters[0].name, "Performance");
    EXPECT_DOUBLE_EQ(stats.clusters[0].percent, 80);
    EXPECT_EQ(stats.clusters[1].name, "Efficiency");
    EXPECT_DOUBLE_EQ(stats.clusters[1].percent, 10);
    EXPECT_EQ(stats.loadAverage, (LoadAverage{1, 2, 3}));
}

TEST(CPUStats, TotalAboveHundredIsClampedWhileThePartsStay) {
    // Pairs can exceed 100 together only through bad ticks; the parts are
    // reported as computed.
    auto stats = CPUStats::fromCoreLoads({{90, 40}}, CPUTopology{}, LoadAverage::zero());
    EXPECT_EQ(stats.totalPercent, 100);
    EXPECT_DOUBLE_EQ(stats.userPercent, 90);
    EXPECT_DOUBLE_EQ(stats.systemPercent, 40);
}

TEST(CPUStats, NaNPerCoreBecomesZero) {
    auto stats = CPUStats::fromCoreLoads({{std::nan(""), 0}}, CPUTopology{}, LoadAverage::zero());
    EXPECT_EQ(stats.perCorePercent, (std::vector<double>{0}));
}

}  // namespace
}  // namespace orv
