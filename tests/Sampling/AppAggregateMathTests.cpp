#include <gtest/gtest.h>

#include "Sampling/AppAggregateMath.h"

namespace orv {
namespace {

const AppIdentity editor{"org.gnome.TextEditor", "Text Editor", std::nullopt, "org.gnome.TextEditor",
                         AppIdentity::Kind::app};

ProcessSample sample(int32_t pid, std::string app, std::string name, double cpu, uint64_t memory = 0) {
    ProcessSample s;
    s.pid = pid;
    s.app = std::move(app);
    s.name = std::move(name);
    s.cpuPercent = cpu;
    s.footprintBytes = memory;
    return s;
}

TEST(AppAggregateMath, SumsTheMembersOfOneApp) {
    auto a = sample(1, editor.id, "gnome-text-editor", 10, 100);
    a.diskReadBPS = 5;
    a.diskWriteBPS = 7;
    auto b = sample(2, editor.id, "helper", 2.5, 50);
    b.diskReadBPS = 1;
    auto apps = AppAggregateMath::aggregate({a, b}, {{1, editor}, {2, editor}});
    ASSERT_EQ(apps.size(), 1u);
    EXPECT_EQ(apps[0].app, editor);
    EXPECT_EQ(apps[0].processCount, 2);
    EXPECT_DOUBLE_EQ(apps[0].cpuPercent, 12.5);
    EXPECT_EQ(apps[0].memoryBytes, 150u);
    EXPECT_DOUBLE_EQ(apps[0].diskReadBPS, 6);
    EXPECT_DOUBLE_EQ(apps[0].diskWriteBPS, 7);
}

TEST(AppAggregateMath, AnOptionalFigureEveryMemberLacksIsAbsent) {
    auto apps = AppAggregateMath::aggregate({sample(1, editor.id, "a", 1), sample(2, editor.id, "b", 1)},
                                            {{1, editor}, {2, editor}});
    ASSERT_EQ(apps.size(), 1u);
    EXPECT_EQ(apps[0].energyMW, std::nullopt);
    EXPECT_EQ(apps[0].gpuPercent, std::nullopt);
    EXPECT_EQ(apps[0].energyImpact, std::nullopt);
    EXPECT_EQ(apps[0].netInBPS, std::nullopt);
    EXPECT_EQ(apps[0].netOutBPS, std::nullopt);
}

TEST(AppAggregateMath, AnOptionalFigureSomeMembersHaveSumsOverThoseThatHaveIt) {
    auto a = sample(1, editor.id, "a", 1);
    a.energyImpact = 3;
    a.gpuPercent = 4;
    a.netInBPS = 100;
    auto b = sample(2, editor.id, "b", 1);
    auto c = sample(3, editor.id, "c", 1);
    c.energyImpact = 0.5;
    c.energyMW = 0;
    auto apps = AppAggregateMath::aggregate({a, b, c}, {{1, editor}, {2, editor}, {3, editor}});
    ASSERT_EQ(apps.size(), 1u);
    EXPECT_EQ(apps[0].energyImpact, 3.5);
    EXPECT_EQ(apps[0].gpuPercent, 4);
    EXPECT_EQ(apps[0].netInBPS, 100);
    EXPECT_EQ(apps[0].netOutBPS, std::nullopt);
    EXPECT_EQ(apps[0].energyMW, 0);  // one member measured zero: a measured zero, not absence
}

TEST(AppAggregateMath, ProcessesNoAppClaimsShareTheOtherIdentityOfTheirName) {
    auto apps = AppAggregateMath::aggregate(
        {sample(7, "other:bash", "bash", 1), sample(8, "other:bash", "bash", 2), sample(9, "other:vim", "vim", 1)}, {});
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_EQ(apps[0].app, AppIdentity::other("bash"));
    EXPECT_EQ(apps[0].processCount, 2);
    EXPECT_EQ(apps[1].app, AppIdentity::other("vim"));
}

TEST(AppAggregateMath, AggregatesComeInTheOrderOfTheirFirstMember) {
    auto apps = AppAggregateMath::aggregate(
        {sample(1, "other:b", "b", 1), sample(2, editor.id, "e", 50), sample(3, "other:b", "b", 1)}, {{2, editor}});
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_EQ(apps[0].app.id, "other:b");
    EXPECT_EQ(apps[1].app.id, editor.id);
}

TEST(AppAggregateMath, NoProcessesGiveNoApps) { EXPECT_TRUE(AppAggregateMath::aggregate({}, {}).empty()); }

TEST(AppAggregateMath, AppsSortBusiestFirstThenLargerMemoryThenID) {
    auto apps = AppAggregateMath::aggregate({sample(1, "other:a", "a", 5, 10), sample(2, "other:b", "b", 50, 10),
                                             sample(3, "other:c", "c", 5, 99), sample(4, "other:d", "d", 5, 10)},
                                            {});
    AppAggregateMath::sortByCPUShare(apps);
    std::vector<std::string> order;
    for (const auto& app : apps) order.push_back(app.app.id);
    EXPECT_EQ(order, (std::vector<std::string>{"other:b", "other:c", "other:a", "other:d"}));
}

TEST(AppAggregateMath, ProcessesSortBusiestFirstThenByPid) {
    std::vector<ProcessSample> processes{sample(9, "x", "x", 1), sample(3, "x", "x", 80), sample(2, "x", "x", 1)};
    AppAggregateMath::sortByCPUShare(processes);
    EXPECT_EQ(processes[0].pid, 3);
    EXPECT_EQ(processes[1].pid, 2);
    EXPECT_EQ(processes[2].pid, 9);
}

}  // namespace
}  // namespace orv
