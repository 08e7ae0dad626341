#include <gtest/gtest.h>

#include "Sampling/linux/ProcParentCheck.h"

namespace orv {
namespace {

using Link = ProcParentCheck::Link;

TEST(ProcParentCheck, ParentBoundAndStillLiveHolds) {
    Link link;
    ProcParentCheck::restat(link, 50, true, 10);
    ProcParentCheck::bind(link, 7);
    EXPECT_EQ(link.parentInstance, 7u);
    EXPECT_TRUE(ProcParentCheck::holds(link, 7));
}

TEST(ProcParentCheck, ParentThatExitedOrWasReplacedDoesNotHold) {
    Link link{.parentPID = 50, .parentInstance = 7, .instancesAtRead = 10};
    EXPECT_FALSE(ProcParentCheck::holds(link, 0));   // gone, or a zombie
    EXPECT_FALSE(ProcParentCheck::holds(link, 12));  // another process took the pid
}

TEST(ProcParentCheck, UnboundParentDoesNotHold) {
    Link link{.parentPID = 50, .parentInstance = 0, .instancesAtRead = 10};
    EXPECT_FALSE(ProcParentCheck::holds(link, 7));
}

TEST(ProcParentCheck, ParentFirstSeenAfterTheChildsStatIsNotBound) {
    Link link;
    ProcParentCheck::restat(link, 50, true, 10);
    ProcParentCheck::bind(link, 11);
    EXPECT_EQ(link.parentInstance, 0u);
    ProcParentCheck::restat(link, 50, false, 11);
    ProcParentCheck::bind(link, 11);
    EXPECT_EQ(link.parentInstance, 11u);
}

TEST(ProcParentCheck, NewParentPidUnbinds) {
    Link link{.parentPID = 50, .parentInstance = 7, .instancesAtRead = 10};
    ProcParentCheck::restat(link, 50, false, 12);
    EXPECT_EQ(link.parentInstance, 7u);  // the same parent named again
    ProcParentCheck::restat(link, 1, false, 12);
    EXPECT_EQ(link.parentInstance, 0u);
    EXPECT_EQ(link.parentPID, 1);
}

TEST(ProcParentCheck, ProcessWithoutParentBindsNothing) {
    Link link{.parentPID = 0, .parentInstance = 7, .instancesAtRead = 10};
    ProcParentCheck::bind(link, 3);
    EXPECT_EQ(link.parentInstance, 0u);
}

}  // namespace
}  // namespace orv
