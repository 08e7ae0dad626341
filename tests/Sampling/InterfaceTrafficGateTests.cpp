#include <gtest/gtest.h>

#include "Sampling/InterfaceTrafficGate.h"

namespace orv {
namespace {

InterfaceCountersByIndex counters(uint64_t loopback, uint64_t ethernet) {
    return {{1, {loopback, loopback}}, {2, {ethernet, ethernet / 2}}};
}

TEST(InterfaceTrafficGate, TheFirstPassDumpsEvenWhenNothingCouldBeRead) {
    InterfaceTrafficGate first;
    EXPECT_TRUE(first.mustDump(counters(10, 20)));
    InterfaceTrafficGate unread;
    EXPECT_TRUE(unread.mustDump(std::nullopt));
}

TEST(InterfaceTrafficGate, QuietCountersSkipOnlyAfterOneDumpAWholePassAfterTheLastMove) {
    InterfaceTrafficGate gate;
    EXPECT_TRUE(gate.mustDump(counters(10, 20)));
    // Quiet since the first pass, but that dump may have come before the
    // sockets took in the last counted packets: one more dump settles it.
    EXPECT_TRUE(gate.mustDump(counters(10, 20)));
    EXPECT_FALSE(gate.mustDump(counters(10, 20)));
    EXPECT_FALSE(gate.mustDump(counters(10, 20)));
}

TEST(InterfaceTrafficGate, AnyInterfaceMovingDumpsThenSettlesAgain) {
    InterfaceTrafficGate gate;
    (void)gate.mustDump(counters(10, 20));
    (void)gate.mustDump(counters(10, 20));
    ASSERT_FALSE(gate.mustDump(counters(10, 20)));
    // The loopback alone moving is traffic too: a socket to one of the
    // machine's own addresses goes over it.
    EXPECT_TRUE(gate.mustDump(counters(11, 20)));
    EXPECT_TRUE(gate.mustDump(counters(11, 20)));
    EXPECT_FALSE(gate.mustDump(counters(11, 20)));
    EXPECT_TRUE(gate.mustDump(counters(11, 21)));
    EXPECT_TRUE(gate.mustDump(counters(11, 22)));  // still moving: every pass dumps
    EXPECT_TRUE(gate.mustDump(counters(11, 22)));
    EXPECT_FALSE(gate.mustDump(counters(11, 22)));
}

TEST(InterfaceTrafficGate, AnInterfaceThatComesOrGoesIsAChange) {
    InterfaceTrafficGate gate;
    (void)gate.mustDump(counters(10, 20));
    (void)gate.mustDump(counters(10, 20));
    ASSERT_FALSE(gate.mustDump(counters(10, 20)));
    auto more = counters(10, 20);
    more[7] = {0, 0};
    EXPECT_TRUE(gate.mustDump(more));
    EXPECT_TRUE(gate.mustDump(more));
    ASSERT_FALSE(gate.mustDump(more));
    EXPECT_TRUE(gate.mustDump(counters(10, 20)));
}

TEST(InterfaceTrafficGate, AnUnreadablePassDumpsAndTheNextReadStartsOver) {
    InterfaceTrafficGate gate;
    (void)gate.mustDump(counters(10, 20));
    (void)gate.mustDump(counters(10, 20));
    ASSERT_FALSE(gate.mustDump(counters(10, 20)));
    EXPECT_TRUE(gate.mustDump(std::nullopt));
    EXPECT_TRUE(gate.mustDump(counters(10, 20)));  // nothing to compare with
    EXPECT_TRUE(gate.mustDump(counters(10, 20)));
    EXPECT_FALSE(gate.mustDump(counters(10, 20)));
}

TEST(InterfaceTrafficGate, AFailedDumpIsDoneAgainOnTheNextPass) {
    InterfaceTrafficGate gate;
    (void)gate.mustDump(counters(10, 20));
    ASSERT_TRUE(gate.mustDump(counters(10, 20)));
    gate.dumpFailed();
    EXPECT_TRUE(gate.mustDump(counters(10, 20)));
    EXPECT_FALSE(gate.mustDump(counters(10, 20)));
}

}  // namespace
}  // namespace orv
