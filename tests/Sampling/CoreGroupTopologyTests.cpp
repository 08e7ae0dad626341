#include <gtest/gtest.h>

#include "Sampling/CoreGroupTopology.h"

namespace orv {
namespace {

TEST(CoreGroupTopology, ParsesKernelCPULists) {
    EXPECT_EQ(CPUList::decode("0-3,8,10-11\n"), (std::vector<int64_t>{0, 1, 2, 3, 8, 10, 11}));
    EXPECT_EQ(CPUList::decode(""), std::vector<int64_t>{});
}

TEST(CoreGroupTopology, GarbageCPUListIsAbsent) {
    EXPECT_FALSE(CPUList::decode("0-"));
    EXPECT_FALSE(CPUList::decode("3-1"));
    EXPECT_FALSE(CPUList::decode("a,b"));
    EXPECT_FALSE(CPUList::decode("0-99999999"));
}

TEST(CoreGroupTopology, HybridListsGivePerformanceThenEfficiency) {
    CoreGroupFacts facts;
    facts.onlineCores = {0, 1, 2, 3, 4, 5};
    facts.hybridPerformance = std::vector<int64_t>{0, 1, 2, 3};
    facts.hybridEfficiency = std::vector<int64_t>{4, 5};
    auto topology = coreGroupTopology(facts);
    ASSERT_EQ(topology.levels.size(), 2u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"Performance", 0, {0, 1, 2, 3}}));
    EXPECT_EQ(topology.levels[1], (CPUTopology::Level{"Efficiency", 1, {4, 5}}));
}

TEST(CoreGroupTopology, OfflineCoreVanishesAndLaterCoresMoveDown) {
    CoreGroupFacts facts;
    facts.onlineCores = {0, 1, 3, 4, 5};  // cpu2 is offline
    facts.hybridPerformance = std::vector<int64_t>{0, 1, 2, 3};
    facts.hybridEfficiency = std::vector<int64_t>{4, 5};
    auto topology = coreGroupTopology(facts);
    EXPECT_EQ(topology.levels[0].coreIndexes, (std::vector<int64_t>{0, 1, 2}));
    EXPECT_EQ(topology.levels[1].coreIndexes, (std::vector<int64_t>{3, 4}));
}

TEST(CoreGroupTopology, CapacitiesGroupCoresHighestFirst) {
    CoreGroupFacts facts;
    facts.onlineCores = {0, 1, 2, 3, 4, 5};
    facts.capacities = {{0, 446}, {1, 446}, {2, 446}, {3, 446}, {4, 1024}, {5, 1024}};
    auto topology = coreGroupTopology(facts);
    ASSERT_EQ(topology.levels.size(), 2u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"Performance", 0, {4, 5}}));
    EXPECT_EQ(topology.levels[1], (CPUTopology::Level{"Efficiency", 1, {0, 1, 2, 3}}));
}

TEST(CoreGroupTopology, ThreeCapacitiesNameTheMiddleLevel) {
    CoreGroupFacts facts;
    facts.onlineCores = {0, 1, 2};
    facts.capacities = {{0, 300}, {1, 700}, {2, 1024}};
    auto topology = coreGroupTopology(facts);
    ASSERT_EQ(topology.levels.size(), 3u);
    EXPECT_EQ(topology.levels[0].name, "Performance");
    EXPECT_EQ(topology.levels[1].name, "Intermediate 1");
    EXPECT_EQ(topology.levels[2].name, "Efficiency");
    EXPECT_EQ(topology.levels[1].coreIndexes, std::vector<int64_t>{1});
}

TEST(CoreGroupTopology, EqualCapacitiesAreOneCPULevel) {
    CoreGroupFacts facts;
    facts.onlineCores = {0, 1};
    facts.capacities = {{0, 1024}, {1, 1024}};
    auto topology = coreGroupTopology(facts);
    ASSERT_EQ(topology.levels.size(), 1u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"CPU", 0, {0, 1}}));
}

TEST(CoreGroupTopology, TwoPlainCoresAreOneCPULevel) {
    CoreGroupFacts facts;
    facts.onlineCores = {0, 1};
    auto topology = coreGroupTopology(facts);
    ASSERT_EQ(topology.levels.size(), 1u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"CPU", 0, {0, 1}}));
}

TEST(CoreGroupTopology, CapacityMissingForOneCoreIsOneLevel) {
    CoreGroupFacts facts;
    facts.onlineCores = {0, 1, 2};
    facts.capacities = {{0, 512}, {1, 1024}};
    EXPECT_EQ(coreGroupTopology(facts).levels.size(), 1u);
}

}  // namespace
}  // namespace orv
