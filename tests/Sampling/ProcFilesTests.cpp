#include <gtest/gtest.h>

#include "Sampling/ProcFiles.h"

namespace orv {
namespace {

// proc/<pid>/stat of a process whose command holds a space and a ')'.
constexpr std::string_view stat =
    "4711 (a) b) S 1 4700 4600 0 -1 4194560 100 0 0 0 25 7 0 0 20 0 3 0 12345 1000 200 "
    "18446744073709551615 1 1 0 0 0 0 0 0 0 0 0 17 2 0 0 0 0 0\n";

TEST(ProcStat, CountsFieldsFromTheLastParenthesis) {
    auto decoded = ProcStat::decode(stat);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->command, "a) b");
    EXPECT_EQ(decoded->state, 'S');
    EXPECT_EQ(decoded->parentPID, 1);
    EXPECT_EQ(decoded->processGroup, 4700);
    EXPECT_EQ(decoded->session, 4600);
    EXPECT_EQ(decoded->flags, 4194560u);
    EXPECT_EQ(decoded->userTicks, 25u);
    EXPECT_EQ(decoded->systemTicks, 7u);
    EXPECT_EQ(decoded->threadCount, 3u);
    EXPECT_EQ(decoded->startTicks, 12345u);
}

TEST(ProcStat, TextCutBeforeTheStartTimeIsAbsent) {
    EXPECT_FALSE(ProcStat::decode("4711 (a) S 1 4711 4711 0 -1 4194560 100 0 0 0 25 7 0 0 20 0 3 0\n"));
}

TEST(ProcStat, TextWithoutParenthesesIsAbsent) { EXPECT_FALSE(ProcStat::decode("4711 a S 1\n")); }

TEST(ProcStatm, ReadsResidentAndSharedPages) {
    auto decoded = ProcStatm::decode("1000 200 50 10 0 300 0\n");
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->residentPages, 200u);
    EXPECT_EQ(decoded->sharedPages, 50u);
}

TEST(ProcStatm, FewerThanThreeFieldsAreAbsent) { EXPECT_FALSE(ProcStatm::decode("1000 200\n")); }

TEST(ProcIO, ReadsTheBlockLayerBytes) {
    EXPECT_EQ(ProcIO::decode("rchar: 10\nwchar: 20\nread_bytes: 4096\nwrite_bytes: 8192\ncancelled_write_bytes: 0\n"),
              (ProcIO{4096, 8192}));
}

TEST(ProcIO, BothLinesAreNeeded) { EXPECT_FALSE(ProcIO::decode("read_bytes: 4096\n")); }

TEST(ProcSchedstat, ReadsRunWaitAndCount) {
    EXPECT_EQ(ProcSchedstat::decode("1500 300 7\n"), (ProcSchedstat{1500, 300, 7}));
}

TEST(ProcSchedstat, NegativeOrMissingFieldsAreAbsent) {
    EXPECT_FALSE(ProcSchedstat::decode("1500 -3 7\n"));
    EXPECT_FALSE(ProcSchedstat::decode("1500 300\n"));
}

TEST(ProcLoadavg, ReadsThreadsAndLastPID) {
    EXPECT_EQ(ProcLoadavg::decode("0.50 0.40 0.30 2/812 40321\n"), (ProcLoadavg{812, 40321}));
}

TEST(ProcLoadavg, TaskFieldWithoutSlashIsAbsent) { EXPECT_FALSE(ProcLoadavg::decode("0.50 0.40 0.30 812 40321\n")); }

}  // namespace
}  // namespace orv
