// Values by pid in one block: found by pid whatever order the process table
// came in.
#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "core/PidTable.h"

namespace orv {
namespace {

struct Facts {
    int32_t parentPID = 0;
    uint32_t uid = 0;
    friend bool operator==(const Facts&, const Facts&) = default;
};

std::vector<int32_t> pidsOf(const PidTable<Facts>& table) {
    std::vector<int32_t> pids;
    for (const auto& [pid, facts] : table) pids.push_back(pid);
    return pids;
}

TEST(PidTable, EntriesInTheTablesOwnOrderAreFoundByPID) {
    PidTable<Facts> table({{42, {1}}, {7, {2}}, {300, {42}}, {1, {0}}});
    EXPECT_EQ(pidsOf(table), (std::vector<int32_t>{1, 7, 42, 300}));
    for (auto [pid, parent] : {std::pair{1, 0}, {7, 2}, {42, 1}, {300, 42}}) {
        auto found = table.find(pid);
        ASSERT_NE(found, table.end()) << pid;
        EXPECT_EQ(found->second.parentPID, parent) << pid;
        EXPECT_EQ(table.at(pid).parentPID, parent) << pid;
    }
    EXPECT_EQ(table.find(8), table.end());
    EXPECT_EQ(table.find(301), table.end());
    EXPECT_EQ(table.find(0), table.end());
    EXPECT_FALSE(table.contains(8));
    EXPECT_THROW((void)table.at(8), std::out_of_range);
}

TEST(PidTable, OfTwoEntriesForOnePidTheLaterStands) {
    PidTable<Facts> table({{5, {1}}, {3, {1}}, {5, {9}}, {4, {2}}, {4, {6}}, {4, {8}}});
    EXPECT_EQ(pidsOf(table), (std::vector<int32_t>{3, 4, 5}));
    EXPECT_EQ(table.at(5).parentPID, 9);
    EXPECT_EQ(table.at(4).parentPID, 8);
}

TEST(PidTable, IndexingAddsInOrderAndChangesInPlace) {
    PidTable<Facts> table;
    EXPECT_TRUE(table.empty());
    table[20].parentPID = 1;
    table[10].parentPID = 2;
    table[30].parentPID = 3;
    table[20].uid = 1000;
    EXPECT_EQ(pidsOf(table), (std::vector<int32_t>{10, 20, 30}));
    EXPECT_EQ(table.at(20), (Facts{1, 1000}));
    table.clear();
    EXPECT_TRUE(table.empty());
    EXPECT_FALSE(table.contains(20));
}

TEST(PidTable, EmplaceAddsOnlyWhatIsNotThereAsAMapDoes) {
    PidTable<Facts> table({{5, {1}}});
    EXPECT_TRUE(table.emplace(9, {2}));
    EXPECT_TRUE(table.emplace(3, {4}));
    EXPECT_FALSE(table.emplace(5, {7}));
    EXPECT_EQ(pidsOf(table), (std::vector<int32_t>{3, 5, 9}));
    EXPECT_EQ(table.at(5).parentPID, 1);
}

TEST(PidTable, TablesWithTheSameEntriesAreEqualWhateverTheOrderTheyCameIn) {
    EXPECT_EQ((PidTable<Facts>{{2, {1}}, {1, {0}}}), (PidTable<Facts>{{1, {0}}, {2, {1}}}));
    EXPECT_NE((PidTable<Facts>{{2, {1}}}), (PidTable<Facts>{{2, {3}}}));
}

}  // namespace
}  // namespace orv
