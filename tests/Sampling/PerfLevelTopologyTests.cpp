#include <gtest/gtest.h>

#include "Sampling/PerfLevelTopology.h"
#include "core/CapturingLogSink.h"
#include "core/SamplingError.h"

namespace orv {
namespace {

const char* const fallbackLine = "IORegistry cluster types unavailable; assuming kernel core order";

PerfLevelReads reads(std::vector<PerfLevel> levels, std::optional<std::map<int64_t, std::string>> clusters) {
    PerfLevelReads r;
    r.levels = [levels] { return levels; };
    r.logicalCPUCount = [] { return int64_t(8); };
    r.activeProcessorCount = [] { return int64_t(6); };
    r.clusterTypes = [clusters] { return clusters; };
    return r;
}

std::map<int64_t, std::string> appleM1Clusters() {
    // Efficiency cores first in kernel numbering, as on an M1.
    return {{0, "E"}, {1, "E"}, {2, "E"}, {3, "E"}, {4, "P"}, {5, "P"}, {6, "P"}, {7, "P"}};
}

TEST(PerfLevelTopology, MatchesLevelsWithRegistryClustersBySize) {
    ScopedLogCapture capture;
    std::map<int64_t, std::string> clusters{{0, "E"}, {1, "E"}, {2, "P"}, {3, "P"}, {4, "P"}, {5, "P"}};
    auto topology = perfLevelTopology(reads({{"Performance", 4}, {"Efficiency", 2}}, clusters));
    ASSERT_EQ(topology.levels.size(), 2u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"Performance", 0, {2, 3, 4, 5}}));
    EXPECT_EQ(topology.levels[1], (CPUTopology::Level{"Efficiency", 1, {0, 1}}));
    EXPECT_TRUE(capture.messages().empty());
}

TEST(PerfLevelTopology, EqualLevelSizesFallBackToKernelOrder) {
    ScopedLogCapture capture;
    auto topology = perfLevelTopology(reads({{"Performance", 4}, {"Efficiency", 4}}, appleM1Clusters()));
    ASSERT_EQ(topology.levels.size(), 2u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"Performance", 0, {4, 5, 6, 7}}));
    EXPECT_EQ(topology.levels[1], (CPUTopology::Level{"Efficiency", 1, {0, 1, 2, 3}}));
    ASSERT_EQ(capture.sink().entries().size(), 1u);
    auto entry = capture.sink().entries()[0];
    EXPECT_EQ(entry.message, fallbackLine);
    EXPECT_EQ(entry.level, LogLevel::notice);
    EXPECT_EQ(entry.subsystem, "app.orvantine.sampling");
    EXPECT_EQ(entry.category, "sampling");
}

TEST(PerfLevelTopology, RegistryTotalDifferentFromLevelsFallsBack) {
    ScopedLogCapture capture;
    auto topology = perfLevelTopology(reads({{"Performance", 2}, {"Efficiency", 4}}, appleM1Clusters()));
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"Performance", 0, {4, 5}}));
    EXPECT_EQ(topology.levels[1], (CPUTopology::Level{"Efficiency", 1, {0, 1, 2, 3}}));
    EXPECT_EQ(capture.sink().count(fallbackLine), 1u);
}

TEST(PerfLevelTopology, LevelSizeThatNoClusterHasFallsBack) {
    ScopedLogCapture capture;
    std::map<int64_t, std::string> clusters{{0, "E"}, {1, "E"}, {2, "E"}, {3, "P"}, {4, "P"}, {5, "P"}};
    auto topology = perfLevelTopology(reads({{"Performance", 4}, {"Efficiency", 2}}, clusters));
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"Performance", 0, {2, 3, 4, 5}}));
    EXPECT_EQ(topology.levels[1], (CPUTopology::Level{"Efficiency", 1, {0, 1}}));
    EXPECT_EQ(capture.sink().count(fallbackLine), 1u);
}

TEST(PerfLevelTopology, NoRegistryMapFallsBack) {
    ScopedLogCapture capture;
    auto topology = perfLevelTopology(reads({{"Performance", 4}, {"Efficiency", 4}}, std::nullopt));
    EXPECT_EQ(topology.levels.size(), 2u);
    EXPECT_EQ(capture.sink().count(fallbackLine), 1u);
}

TEST(PerfLevelTopology, ZeroPerfLevelsGiveAnEmptyTopology) {
    ScopedLogCapture capture;
    auto topology = perfLevelTopology(reads({}, appleM1Clusters()));
    EXPECT_TRUE(topology.levels.empty());
    EXPECT_EQ(capture.messages(), std::vector<std::string>{fallbackLine});
}

TEST(PerfLevelTopology, FailedLevelSysctlsGiveOneCPULevelOfLogicalCores) {
    ScopedLogCapture capture;
    auto r = reads({}, std::nullopt);
    r.levels = []() -> std::vector<PerfLevel> { throw SamplingError::sysctl("hw.nperflevels", 2); };
    auto topology = perfLevelTopology(r);
    ASSERT_EQ(topology.levels.size(), 1u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"CPU", 0, {0, 1, 2, 3, 4, 5, 6, 7}}));
    auto entries = capture.sink().entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].message,
              "perflevel sysctls unavailable, using one level: sysctl(name: \"hw.nperflevels\", errno: 2)");
    EXPECT_EQ(entries[0].level, LogLevel::error);
    EXPECT_EQ(entries[1].message, fallbackLine);
}

TEST(PerfLevelTopology, FailedLogicalCPUCountUsesActiveProcessors) {
    ScopedLogCapture capture;
    auto r = reads({}, std::nullopt);
    r.levels = []() -> std::vector<PerfLevel> { throw SamplingError::sysctl("hw.perflevel0.name", 2); };
    r.logicalCPUCount = []() -> int64_t { throw SamplingError::sysctl("hw.logicalcpu", 2); };
    auto topology = perfLevelTopology(r);
    ASSERT_EQ(topology.levels.size(), 1u);
    EXPECT_EQ(topology.levels[0].coreIndexes.size(), 6u);
}

TEST(PerfLevelTopology, OneCPULevelMatchesARegistryOfOneKind) {
    ScopedLogCapture capture;
    auto r = reads({{"CPU", 8}}, std::map<int64_t, std::string>{{0, "P"}, {1, "P"}, {2, "P"}, {3, "P"},
                                                                  {4, "P"}, {5, "P"}, {6, "P"}, {7, "P"}});
    auto topology = perfLevelTopology(r);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"CPU", 0, {0, 1, 2, 3, 4, 5, 6, 7}}));
    EXPECT_TRUE(capture.messages().empty());
}

TEST(CPUTopologyMath, KernelOrderNumbersTheLastLevelFirst) {
    auto topology = CPUTopologyMath::kernelCoreOrder({{"P", 2}, {"M", 3}, {"E", 1}});
    ASSERT_EQ(topology.levels.size(), 3u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"P", 0, {4, 5}}));
    EXPECT_EQ(topology.levels[1], (CPUTopology::Level{"M", 1, {1, 2, 3}}));
    EXPECT_EQ(topology.levels[2], (CPUTopology::Level{"E", 2, {0}}));
}

}  // namespace
}  // namespace orv
