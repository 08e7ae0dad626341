#include <gtest/gtest.h>

#include <vector>

#include "Sampling/DRMUtilization.h"

namespace orv {
namespace {

DRMClientUsage i915(uint64_t id, uint64_t renderNs, uint64_t videoNs = 0) {
    DRMClientUsage usage;
    usage.driver = "i915";
    usage.device = "0000:00:02.0";
    usage.clientID = id;
    usage.engineNanoseconds = {{"render", renderNs}, {"copy", 0}, {"video", videoNs}};
    return usage;
}

DRMClientUsage xe(uint64_t id, uint64_t busy, uint64_t total) {
    DRMClientUsage usage;
    usage.driver = "xe";
    usage.clientID = id;
    usage.engineCycles = {{"rcs", {busy, total}}, {"vcs", {total, total}}};
    return usage;
}

constexpr int64_t ms = 1'000'000;

TEST(DRMUtilization, TheFirstWalkOnlySetsTheBaseline) {
    DRMUtilization load;
    std::vector<DRMClientUsage> clients{i915(1, 50 * ms)};
    EXPECT_FALSE(load.update(clients, 1000 * ms));
}

TEST(DRMUtilization, RenderTimeGrowthOfAllClientsOverWallTime) {
    DRMUtilization load;
    std::vector<DRMClientUsage> first{i915(1, 10 * ms), i915(2, 0)};
    load.update(first, 1000 * ms);
    std::vector<DRMClientUsage> second{i915(1, 60 * ms), i915(2, 20 * ms)};
    EXPECT_DOUBLE_EQ(*load.update(second, 1100 * ms), 70.0);
}

TEST(DRMUtilization, VideoEngineTimeIsNotRenderLoad) {
    DRMUtilization load;
    std::vector<DRMClientUsage> first{i915(1, 0, 0)};
    load.update(first, 0);
    std::vector<DRMClientUsage> second{i915(1, 10 * ms, 90 * ms)};
    EXPECT_DOUBLE_EQ(*load.update(second, 100 * ms), 10.0);
}

TEST(DRMUtilization, ANewClientCountsWholeAndAClosedOneNothing) {
    DRMUtilization load;
    std::vector<DRMClientUsage> first{i915(1, 500 * ms)};
    load.update(first, 0);
    std::vector<DRMClientUsage> second{i915(2, 30 * ms)};
    EXPECT_DOUBLE_EQ(*load.update(second, 100 * ms), 30.0);
}

TEST(DRMUtilization, AClientInTwoDescriptorsCountsOnce) {
    DRMUtilization load;
    std::vector<DRMClientUsage> first{i915(1, 0), i915(1, 0)};
    load.update(first, 0);
    std::vector<DRMClientUsage> second{i915(1, 40 * ms), i915(1, 40 * ms)};
    EXPECT_DOUBLE_EQ(*load.update(second, 100 * ms), 40.0);
}

TEST(DRMUtilization, LoadNeverExceedsOneHundred) {
    DRMUtilization load;
    std::vector<DRMClientUsage> first{i915(1, 0), i915(2, 0)};
    load.update(first, 0);
    std::vector<DRMClientUsage> second{i915(1, 90 * ms), i915(2, 90 * ms)};
    EXPECT_DOUBLE_EQ(*load.update(second, 100 * ms), 100.0);
}

TEST(DRMUtilization, XeBusyCyclesAgainstTheirClockAndOnlyRenderCounts) {
    DRMUtilization load;
    std::vector<DRMClientUsage> first{xe(1, 1000, 10'000), xe(2, 0, 10'000)};
    load.update(first, 0);
    // Client 1: 2,000 of 10,000 cycles; client 2: 500 of 10,000; vcs always busy but not work.
    std::vector<DRMClientUsage> second{xe(1, 3000, 20'000), xe(2, 500, 20'000)};
    EXPECT_DOUBLE_EQ(*load.update(second, 100 * ms), 25.0);
}

TEST(DRMUtilization, XeClientsGetEngineTimesIntegratedFromTheirCycles) {
    DRMUtilization load;
    std::vector<DRMClientUsage> first{xe(1, 1000, 10'000)};
    load.update(first, 0);
    EXPECT_EQ(load.withEngineTimes(first[0]).busyNanoseconds(), 0u);
    std::vector<DRMClientUsage> second{xe(1, 3000, 20'000)};  // 20 % of 100 ms
    load.update(second, 100 * ms);
    std::vector<DRMClientUsage> third{xe(1, 8000, 30'000)};  // 50 % of 200 ms
    load.update(third, 300 * ms);
    EXPECT_EQ(load.withEngineTimes(third[0]).busyNanoseconds(), 120'000'000u);
    auto i915Client = i915(7, 5 * ms);
    EXPECT_EQ(load.withEngineTimes(i915Client), i915Client);
}

TEST(DRMUtilization, CountersThatWentBackwardsCountNothing) {
    DRMUtilization load;
    std::vector<DRMClientUsage> first{i915(1, 90 * ms), xe(2, 5000, 10'000)};
    load.update(first, 0);
    std::vector<DRMClientUsage> second{i915(1, 10 * ms), xe(2, 1000, 9'000)};
    EXPECT_DOUBLE_EQ(*load.update(second, 100 * ms), 0.0);
}

}  // namespace
}  // namespace orv
