#include <gtest/gtest.h>

#include "Sampling/TcpTrafficGate.h"

namespace orv {
namespace {

TcpSegmentCounters segments(uint64_t received, uint64_t sent) { return {received, sent}; }

TEST(TcpTrafficGate, TheFirstPassDumpsEvenWhenNothingCouldBeRead) {
    TcpTrafficGate first;
    EXPECT_TRUE(first.mustDump(segments(10, 20)));
    TcpTrafficGate unread;
    EXPECT_TRUE(unread.mustDump(std::nullopt));
}

TEST(TcpTrafficGate, QuietCountersSkipOnlyAfterOneDumpAWholePassAfterTheLastMove) {
    TcpTrafficGate gate;
    EXPECT_TRUE(gate.mustDump(segments(10, 20)));
    // Quiet since the first pass, but that dump may have come before the
    // sockets took in the last counted segments: one more dump settles it.
    EXPECT_TRUE(gate.mustDump(segments(10, 20)));
    EXPECT_FALSE(gate.mustDump(segments(10, 20)));
    EXPECT_FALSE(gate.mustDump(segments(10, 20)));
}

TEST(TcpTrafficGate, EitherCounterMovingDumpsThenSettlesAgain) {
    TcpTrafficGate gate;
    (void)gate.mustDump(segments(10, 20));
    (void)gate.mustDump(segments(10, 20));
    ASSERT_FALSE(gate.mustDump(segments(10, 20)));
    EXPECT_TRUE(gate.mustDump(segments(11, 20)));  // a segment came in
    EXPECT_TRUE(gate.mustDump(segments(11, 20)));
    EXPECT_FALSE(gate.mustDump(segments(11, 20)));
    EXPECT_TRUE(gate.mustDump(segments(11, 21)));  // one went out: a new connection's SYN
    EXPECT_TRUE(gate.mustDump(segments(12, 22)));  // still moving: every pass dumps
    EXPECT_TRUE(gate.mustDump(segments(12, 22)));
    EXPECT_FALSE(gate.mustDump(segments(12, 22)));
}

TEST(TcpTrafficGate, CountersThatWentBackAreAChange) {
    TcpTrafficGate gate;
    (void)gate.mustDump(segments(10, 20));
    (void)gate.mustDump(segments(10, 20));
    ASSERT_FALSE(gate.mustDump(segments(10, 20)));
    EXPECT_TRUE(gate.mustDump(segments(3, 4)));
}

TEST(TcpTrafficGate, AnUnreadablePassDumpsAndTheNextReadStartsOver) {
    TcpTrafficGate gate;
    (void)gate.mustDump(segments(10, 20));
    (void)gate.mustDump(segments(10, 20));
    ASSERT_FALSE(gate.mustDump(segments(10, 20)));
    EXPECT_TRUE(gate.mustDump(std::nullopt));
    EXPECT_TRUE(gate.mustDump(segments(10, 20)));  // nothing to compare with
    EXPECT_TRUE(gate.mustDump(segments(10, 20)));
    EXPECT_FALSE(gate.mustDump(segments(10, 20)));
}

TEST(TcpTrafficGate, AFailedDumpIsDoneAgainOnTheNextPass) {
    TcpTrafficGate gate;
    (void)gate.mustDump(segments(10, 20));
    ASSERT_TRUE(gate.mustDump(segments(10, 20)));
    gate.dumpFailed();
    EXPECT_TRUE(gate.mustDump(segments(10, 20)));
    EXPECT_FALSE(gate.mustDump(segments(10, 20)));
}

}  // namespace
}  // namespace orv
