// The live view's table of process facts: found by pid whatever order the
// process table came in.
#include <gtest/gtest.h>

#include <vector>

#include "cli/ProcessFacts.h"

namespace orv::cli {
namespace {

ProcessFacts withParent(int32_t parentPID) {
    ProcessFacts facts;
    facts.parentPID = parentPID;
    return facts;
}

std::vector<int32_t> pidsOf(const ProcessFactsByPID& table) {
    std::vector<int32_t> pids;
    for (const auto& [pid, facts] : table) pids.push_back(pid);
    return pids;
}

TEST(ProcessFactsByPID, EntriesInTheTablesOwnOrderAreFoundByPID) {
    ProcessFactsByPID table({{42, withParent(1)}, {7, withParent(2)}, {300, withParent(42)}, {1, withParent(0)}});
    EXPECT_EQ(pidsOf(table), (std::vector<int32_t>{1, 7, 42, 300}));
    for (auto [pid, parent] : {std::pair{1, 0}, {7, 2}, {42, 1}, {300, 42}}) {
        auto found = table.find(pid);
        ASSERT_NE(found, table.end()) << pid;
        EXPECT_EQ(found->second.parentPID, parent) << pid;
    }
    EXPECT_EQ(table.find(8), table.end());
    EXPECT_EQ(table.find(301), table.end());
    EXPECT_EQ(table.find(0), table.end());
}

TEST(ProcessFactsByPID, OfTwoEntriesForOnePidTheFirstStands) {
    ProcessFactsByPID table({{5, withParent(1)}, {3, withParent(1)}, {5, withParent(9)}});
    EXPECT_EQ(table.size(), 2u);
    EXPECT_EQ(table.find(5)->second.parentPID, 1);
}

TEST(ProcessFactsByPID, IndexingAddsInOrderAndChangesInPlace) {
    ProcessFactsByPID table;
    EXPECT_TRUE(table.empty());
    table[20].parentPID = 1;
    table[10].parentPID = 2;
    table[30].parentPID = 3;
    table[20].uid = 1000;
    EXPECT_EQ(pidsOf(table), (std::vector<int32_t>{10, 20, 30}));
    EXPECT_EQ(table.find(20)->second.parentPID, 1);
    EXPECT_EQ(table.find(20)->second.uid, 1000u);
}

}  // namespace
}  // namespace orv::cli
