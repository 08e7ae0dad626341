#include <gtest/gtest.h>

#include "Sampling/TcpTrafficGate.h"

namespace orv {
namespace {

using Pass = TcpTrafficGate::Pass;

// Counters of a kernel that does not say how many connections it made.
TcpSegmentCounters segments(uint64_t received, uint64_t sent) { return {received, sent, std::nullopt}; }
TcpSegmentCounters counters(uint64_t received, uint64_t sent, uint64_t opened) { return {received, sent, opened}; }

// A gate whose passes have come to rest at these counters: the first pass
// and the settling one dumped, the next kept the counts.
TcpTrafficGate settledAt(const TcpSegmentCounters& at) {
    TcpTrafficGate gate;
    (void)gate.next(at);
    (void)gate.next(at);
    EXPECT_EQ(gate.next(at), Pass::keep);
    return gate;
}

TEST(TcpTrafficGate, TheFirstPassDumpsEvenWhenNothingCouldBeRead) {
    TcpTrafficGate first;
    EXPECT_EQ(first.next(counters(10, 20, 3)), Pass::dump);
    TcpTrafficGate unread;
    EXPECT_EQ(unread.next(std::nullopt), Pass::dump);
}

TEST(TcpTrafficGate, QuietCountersKeepOnlyAfterOneDumpAWholePassAfterTheLastMove) {
    TcpTrafficGate gate;
    EXPECT_EQ(gate.next(segments(10, 20)), Pass::dump);
    // Quiet since the first pass, but that dump may have come before the
    // sockets took in the last counted segments: one more dump settles it.
    EXPECT_EQ(gate.next(segments(10, 20)), Pass::dump);
    EXPECT_EQ(gate.next(segments(10, 20)), Pass::keep);
    EXPECT_EQ(gate.next(segments(10, 20)), Pass::keep);
}

TEST(TcpTrafficGate, WithoutTheOpensEitherCounterMovingDumpsThenSettlesAgain) {
    TcpTrafficGate gate = settledAt(segments(10, 20));
    EXPECT_EQ(gate.next(segments(11, 20)), Pass::dump);  // a segment came in
    EXPECT_EQ(gate.next(segments(11, 20)), Pass::dump);
    EXPECT_EQ(gate.next(segments(11, 20)), Pass::keep);
    EXPECT_EQ(gate.next(segments(11, 21)), Pass::dump);  // one went out
    EXPECT_EQ(gate.next(segments(12, 22)), Pass::dump);  // still moving: every pass dumps
    EXPECT_EQ(gate.next(segments(12, 22)), Pass::dump);
    EXPECT_EQ(gate.next(segments(12, 22)), Pass::keep);
}

TEST(TcpTrafficGate, TrafficWithoutANewConnectionLooksUpAndDumpsEveryTenthPass) {
    TcpTrafficGate gate = settledAt(counters(10, 20, 5));
    for (unsigned pass = 1; pass < TcpTrafficGate::lookUpPasses; ++pass) {
        EXPECT_EQ(gate.next(counters(10 + pass, 20 + pass, 5)), Pass::lookUp) << pass;
    }
    EXPECT_EQ(gate.next(counters(100, 200, 5)), Pass::dump);  // what the lookups missed lands now
    EXPECT_EQ(gate.next(counters(101, 201, 5)), Pass::lookUp);
}

TEST(TcpTrafficGate, ANewConnectionDumpsTwiceBeforeLookupsResume) {
    TcpTrafficGate gate = settledAt(counters(10, 20, 5));
    EXPECT_EQ(gate.next(counters(11, 21, 5)), Pass::lookUp);
    // Its socket enters the kernel's table a moment after it is counted:
    // the pass after the opens last moved dumps too.
    EXPECT_EQ(gate.next(counters(14, 24, 6)), Pass::dump);
    EXPECT_EQ(gate.next(counters(15, 25, 6)), Pass::dump);
    EXPECT_EQ(gate.next(counters(16, 26, 6)), Pass::lookUp);
}

TEST(TcpTrafficGate, TrafficThatStopsSettlesWithADumpNotALookup) {
    TcpTrafficGate gate = settledAt(counters(10, 20, 5));
    EXPECT_EQ(gate.next(counters(11, 21, 5)), Pass::lookUp);
    // A lookup names only some sockets: keeping counts needs a dump made
    // with the counters quiet.
    EXPECT_EQ(gate.next(counters(11, 21, 5)), Pass::dump);
    EXPECT_EQ(gate.next(counters(11, 21, 5)), Pass::keep);
}

TEST(TcpTrafficGate, ALookupPassThatDumpedInsteadStartsTheRoundAgain) {
    TcpTrafficGate gate = settledAt(counters(10, 20, 5));
    for (unsigned pass = 1; pass < TcpTrafficGate::lookUpPasses - 1; ++pass) {
        ASSERT_EQ(gate.next(counters(10 + pass, 20 + pass, 5)), Pass::lookUp);
    }
    gate.dumpedInstead();
    for (unsigned pass = 1; pass < TcpTrafficGate::lookUpPasses; ++pass) {
        EXPECT_EQ(gate.next(counters(30 + pass, 40 + pass, 5)), Pass::lookUp) << pass;
    }
    EXPECT_EQ(gate.next(counters(60, 70, 5)), Pass::dump);
}

TEST(TcpTrafficGate, CountersThatWentBackAreAChange) {
    TcpTrafficGate gate = settledAt(segments(10, 20));
    EXPECT_EQ(gate.next(segments(3, 4)), Pass::dump);
    TcpTrafficGate opens = settledAt(counters(10, 20, 5));
    EXPECT_EQ(opens.next(counters(11, 21, 2)), Pass::dump);
}

TEST(TcpTrafficGate, AnUnreadablePassDumpsAndTheNextReadStartsOver) {
    TcpTrafficGate gate = settledAt(counters(10, 20, 5));
    EXPECT_EQ(gate.next(std::nullopt), Pass::dump);
    EXPECT_EQ(gate.next(counters(11, 21, 5)), Pass::dump);  // nothing to compare with
    // Nor can that dump tell whether a connection was made just before it.
    EXPECT_EQ(gate.next(counters(12, 22, 5)), Pass::dump);
    EXPECT_EQ(gate.next(counters(13, 23, 5)), Pass::lookUp);
}

TEST(TcpTrafficGate, AFailedDumpIsDoneAgainOnTheNextPass) {
    TcpTrafficGate gate;
    (void)gate.next(counters(10, 20, 5));
    ASSERT_EQ(gate.next(counters(10, 20, 5)), Pass::dump);
    gate.dumpFailed();
    EXPECT_EQ(gate.next(counters(10, 20, 5)), Pass::dump);
    EXPECT_EQ(gate.next(counters(10, 20, 5)), Pass::keep);
    TcpTrafficGate moving = settledAt(counters(10, 20, 5));
    ASSERT_EQ(moving.next(counters(11, 21, 6)), Pass::dump);
    ASSERT_EQ(moving.next(counters(12, 22, 6)), Pass::dump);  // the one that would let lookups start
    moving.dumpFailed();
    EXPECT_EQ(moving.next(counters(13, 23, 6)), Pass::dump);
    EXPECT_EQ(moving.next(counters(14, 24, 6)), Pass::lookUp);
}

}  // namespace
}  // namespace orv
