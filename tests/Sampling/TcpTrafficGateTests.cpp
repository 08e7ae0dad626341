#include <gtest/gtest.h>

#include "Sampling/TcpTrafficGate.h"

namespace orv {
namespace {

TcpSegmentCounters segments(uint64_t received, uint64_t sent) { return {received, sent}; }

// A gate whose passes have come to rest at these counters: the first pass
// and the settling one dumped, the next did not.
TcpTrafficGate settledAt(uint64_t received, uint64_t sent) {
    TcpTrafficGate gate;
    (void)gate.mustDump(segments(received, sent));
    (void)gate.mustDump(segments(received, sent));
    EXPECT_FALSE(gate.mustDump(segments(received, sent)));
    return gate;
}

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
    TcpTrafficGate gate = settledAt(10, 20);
    EXPECT_TRUE(gate.mustDump(segments(11, 20)));  // a segment came in
    EXPECT_TRUE(gate.mustDump(segments(11, 20)));
    EXPECT_FALSE(gate.mustDump(segments(11, 20)));
    EXPECT_TRUE(gate.mustDump(segments(11, 21)));  // one went out: a new connection's SYN
    EXPECT_TRUE(gate.mustDump(segments(12, 22)));  // still moving: every pass dumps
    EXPECT_TRUE(gate.mustDump(segments(12, 22)));
    EXPECT_FALSE(gate.mustDump(segments(12, 22)));
}

TEST(TcpTrafficGate, CountersThatWentBackAreAChange) {
    TcpTrafficGate gate = settledAt(10, 20);
    EXPECT_TRUE(gate.mustDump(segments(3, 4)));
}

TEST(TcpTrafficGate, AnUnreadablePassDumpsAndTheNextReadStartsOver) {
    TcpTrafficGate gate = settledAt(10, 20);
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
