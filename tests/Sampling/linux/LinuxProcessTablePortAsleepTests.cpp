// Processes that sleep through a pass: what the port reads again and what it keeps.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <fcntl.h>
#include <cerrno>
#include <string_view>
#include <filesystem>
#include <fstream>

#include "Sampling/ProcessSampler.h"
#include "Sampling/linux/LinuxProcessTablePort.h"
#include "support/ProcFixture.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;
using namespace test::proc;

TEST(LinuxProcessTablePortAsleep, ProcessThatDidNotRunIsReadFromSchedstatAndStatmOnly) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "sleeper", 'S', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    auto first = counting.pass();
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{
        .stat = 2, .statm = 2, .schedstat = 2, .io = 2, .owner = 2, .listings = 1}));
    auto second = counting.pass();
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{.statm = 2, .schedstat = 2, .listings = 1}));
    EXPECT_EQ(second, first);  // every figure kept, the readings complete
    EXPECT_TRUE(find(second, 42)->isComplete);
}

TEST(LinuxProcessTablePortAsleep, KeptNamesOfEveryLengthStandWhileTheyDoNotRun) {
    // Names up to 15 bytes are kept in place, a kernel thread's longer one
    // apart: both must come back whole from a pass that does not read stat.
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "sleeper", 'S', 1, 250, 50, 12345);
    writeProcess(root, 2, "kthreadd", 'S', 0, 0, 0, 1, 1, kernelThreadFlags);
    writeProcess(root, 43, "kworker/u16:2-events_unbound", 'S', 2, 0, 0, 200, 1, kernelThreadFlags);
    writeProcess(root, 44, "exactly15bytes!", 'S', 1, 0, 0, 300);
    CountingSampler counting(fixtureOptions(root));
    auto first = counting.pass();
    auto second = counting.pass();
    EXPECT_EQ(counting.last.stat, 0u);  // nothing ran: every name is the kept one
    EXPECT_EQ(second, first);
    ASSERT_TRUE(find(second, 43));
    EXPECT_EQ(find(second, 43)->name, "kworker/u16:2-events_unbound");
    ASSERT_TRUE(find(second, 44));
    EXPECT_EQ(find(second, 44)->name, "exactly15bytes!");
    EXPECT_EQ(find(second, 42)->name, "sleeper");
}

TEST(LinuxProcessTablePortAsleep, ProcessThatWasRunningIsReadWholeThoughItsSchedstatStoodStill) {
    // Alone on a CPU without a periodic tick, a task's figures move only
    // about once a second.
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "spinner", 'R', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    writeStat(root, 42, "spinner", 'R', 1, 350, 50, 12345);
    auto readings = counting.pass();
    EXPECT_EQ(counting.last.stat, 1u);
    EXPECT_EQ(find(readings, 42)->cpuTime, Duration::seconds(4));
}

TEST(LinuxProcessTablePortAsleep, EveryProcessIsReadWholeNowAndThen) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "sleeper", 'S', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    for (int pass = 1; pass < LinuxProcessTablePort::checkEvery; ++pass) counting.pass();
    EXPECT_EQ(counting.last.stat, 0u);
    counting.pass();
    EXPECT_EQ(counting.last.stat, 2u);
    EXPECT_EQ(counting.last.io, 2u);
    counting.pass();
    EXPECT_EQ(counting.last.stat, 0u);  // its figures agreed: schedstat stays trusted
}

TEST(LinuxProcessTablePortAsleep, SchedstatThatStoodStillWhileTheCpuTimeMovedIsNotTrustedAgain) {
    // What an emulated proc may do.
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "busy", 'S', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    writeStat(root, 42, "busy", 'S', 1, 900, 50, 12345);
    for (int pass = 1; pass <= LinuxProcessTablePort::checkEvery; ++pass) counting.pass();
    EXPECT_EQ(findCopy(counting.pass(), 42)->cpuTime, Duration::milliseconds(9500));
    EXPECT_EQ(counting.last.stat, 2u);  // and from now on every pass reads whole
}

TEST(LinuxProcessTablePortAsleep, SchedstatThatStoodStillWhileTheDiskFiguresMovedIsNotTrustedAgain) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "writer", 'S', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    writeIO(root, 42, 4096, 1 << 20);
    for (int pass = 1; pass <= LinuxProcessTablePort::checkEvery; ++pass) counting.pass();
    counting.pass();
    EXPECT_EQ(counting.last.stat, 2u);
}

TEST(LinuxProcessTablePortAsleep, SchedstatIsTrustedAgainAfterCleanChecks) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "busy", 'S', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    writeStat(root, 42, "busy", 'S', 1, 900, 50, 12345);
    for (int pass = 1; pass <= LinuxProcessTablePort::checkEvery; ++pass) counting.pass();
    // Disproved: every sleeper is read whole, and each such pass whose
    // figures hold counts towards trust.
    // The loop above ended on the first of them.
    for (int pass = 2; pass <= ProcSleepProof::cleanChecksToTrust; ++pass) {
        counting.pass();
        ASSERT_EQ(counting.last.stat, 2u) << "pass " << pass;
    }
    counting.pass();
    EXPECT_EQ(counting.last.stat, 0u);
}

TEST(LinuxProcessTablePortAsleep, SleeperThatWokeBetweenItsReadsConvictsNothing) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "writer", 'S', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    for (int pass = 1; pass < LinuxProcessTablePort::checkEvery; ++pass) counting.pass();
    // The check pass, by hand: after its schedstat was read, the process
    // wakes, writes and sleeps again before its io is read.
    auto rows = counting.port->readTable();
    writeIO(root, 42, 4096, 1 << 20);
    root.write("proc/42/schedstat", "223456 789 43\n");
    for (const auto& row : rows) (void)counting.port->readUsage(row, false);
    counting.pass();  // it ran: read whole
    counting.pass();
    EXPECT_EQ(counting.last.stat, 0u);  // schedstat is still trusted
}

TEST(LinuxProcessTablePortAsleep, UnreadableSchedstatMakesAnIncompleteReading) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "p", 'S', 1, 0, 0, 1);
    auto options = fixtureOptions(root);
    bool fail = true;
    options.open = [&fail](int dir, const char* path) {
        if (fail && std::string_view(path) == "42/schedstat") {
            errno = EMFILE;
            return -1;
        }
        return ::openat(dir, path, O_RDONLY | O_CLOEXEC);
    };
    CountingSampler counting(options);
    auto first = counting.pass();
    EXPECT_FALSE(find(first, 42)->isComplete);
    EXPECT_TRUE(find(first, 1)->isComplete);
    fail = false;
    auto second = counting.pass();
    EXPECT_TRUE(find(second, 42)->isComplete);
    EXPECT_EQ(find(second, 42)->wakeups, 42u);
}

TEST(LinuxProcessTablePortAsleep, MemoryOfASleepingProcessIsReadEveryPass) {
    // The kernel reclaims memory of processes that do not run.
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "sleeper", 'S', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    root.write("proc/42/statm", "2000 150 100 10 0 250 0\n");
    EXPECT_EQ(findCopy(counting.pass(), 42)->footprintBytes, 50u * 4096);
}

TEST(LinuxProcessTablePortAsleep, ProcessThatRanIsReadWhole) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "worker", 'S', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    writeStat(root, 42, "worker", 'S', 1, 450, 50, 12345);
    writeIO(root, 42, 8192, 16384);
    root.write("proc/42/schedstat", "923456 789 45\n");
    auto readings = counting.pass();
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{
        .stat = 1, .statm = 2, .schedstat = 2, .io = 1, .owner = 1, .listings = 1}));
    const auto* r = find(readings, 42);
    EXPECT_EQ(r->cpuTime, Duration::seconds(5));
    EXPECT_EQ(r->diskReadBytes, 8192u);
    EXPECT_EQ(r->diskWriteBytes, 16384u);
    EXPECT_EQ(r->wakeups, 45u);
}

TEST(LinuxProcessTablePortAsleep, ProcessWithThreadsThatCannotBeListedHasItsStatAndIoReadEveryPass) {
    // Its other threads may run while the main thread sleeps; its uid
    // follows the main thread only. (This fixture has no task/ to list.)
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "threads", 'S', 1, 250, 50, 12345, 3);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    writeStat(root, 42, "threads", 'S', 1, 350, 50, 12345, 3);
    writeIO(root, 42, 4096, 12288);
    auto readings = counting.pass();
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{
        .stat = 1, .statm = 2, .schedstat = 2, .io = 1, .listings = 1, .threadListings = 1}));
    EXPECT_EQ(find(readings, 42)->cpuTime, Duration::seconds(4));
    EXPECT_EQ(find(readings, 42)->diskWriteBytes, 12288u);
}

// init, parent 50 and its child 51, read until both are known asleep.
CountingSampler settledParentAndChild(const TempDir& root) {
    writeInit(root);
    writeProcess(root, 50, "parent", 'S', 1, 0, 0, 100);
    writeProcess(root, 51, "child", 'S', 50, 0, 0, 200);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    return counting;
}

TEST(LinuxProcessTablePortAsleep, SleepingChildOfAnExitedParentShowsItsNewParent) {
    TempDir root;
    auto counting = settledParentAndChild(root);
    EXPECT_EQ(counting.last.stat, 0u);  // parent and child asleep
    // The parent exits; the kernel hands the child to init without waking it.
    std::filesystem::remove_all(root.path() / "proc/50");
    writeStat(root, 51, "child", 'S', 1, 0, 0, 200);
    auto readings = counting.pass();
    ASSERT_NE(find(readings, 51), nullptr);
    EXPECT_EQ(find(readings, 51)->parentPID, 1);
    EXPECT_EQ(counting.last.stat, 1u);
}

TEST(LinuxProcessTablePortAsleep, SleepingChildOfAParentWhosePidWasReusedShowsItsNewParent) {
    TempDir root;
    auto counting = settledParentAndChild(root);
    // Budget-less reads would see the new process at once; here the kept
    // descriptors see the new text, as after a reap and a reuse.
    writeProcess(root, 50, "stranger", 'S', 1, 0, 0, 900);
    root.write("proc/50/schedstat", "5000 0 1\n");
    writeStat(root, 51, "child", 'S', 1, 0, 0, 200);
    auto readings = counting.pass();
    EXPECT_EQ(find(readings, 50)->name, "stranger");
    EXPECT_EQ(find(readings, 51)->parentPID, 1);
}

TEST(LinuxProcessTablePortAsleep, ParentFirstSeenAfterItsChildIsTrustedOnlyFromTheNextPass) {
    // Listed after its child, the process under the parent's pid may have
    // taken it after the child's parent died; the child is read again once.
    TempDir root;
    writeInit(root);
    writeProcess(root, 30, "child", 'S', 50, 0, 0, 200);
    writeProcess(root, 50, "parent", 'S', 1, 0, 0, 100);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    EXPECT_EQ(counting.last.stat, 1u);
    counting.pass();
    EXPECT_EQ(counting.last.stat, 0u);
}

TEST(LinuxProcessTablePortAsleep, SleepingChildOfAZombieShowsItsNewParent) {
    TempDir root;
    auto counting = settledParentAndChild(root);
    writeStat(root, 50, "parent", 'Z', 1, 0, 0, 100);
    root.write("proc/50/schedstat", "223456 789 43\n");
    writeStat(root, 51, "child", 'S', 1, 0, 0, 200);
    auto readings = counting.pass();
    EXPECT_EQ(find(readings, 50), nullptr);
    EXPECT_EQ(find(readings, 51)->parentPID, 1);
}

TEST(LinuxProcessTablePortAsleep, KernelThreadsMemoryIsNeverRead) {
    TempDir root;
    writeProcess(root, 2, "kthreadd", 'S', 0, 0, 0, 0, 1, kernelThreadFlags);
    CountingSampler counting(fixtureOptions(root));
    auto readings = counting.pass();
    EXPECT_EQ(counting.last.statm, 0u);
    EXPECT_EQ(readings[0].footprintBytes, 0u);  // no memory of its own, whatever statm says
    EXPECT_TRUE(readings[0].isComplete);
    counting.pass();
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{.schedstat = 1, .listings = 1}));
}

TEST(LinuxProcessTablePortAsleep, WithoutSchedulerStatisticsEveryPassReadsWhole) {
    // Such a kernel writes zeros for every task: they prove nothing.
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "p", 'S', 1, 0, 0, 1);
    root.write("proc/1/schedstat", "0 0 0\n");
    root.write("proc/42/schedstat", "0 0 0\n");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    auto readings = counting.pass();
    EXPECT_EQ(counting.last.stat, 2u);
    EXPECT_EQ(counting.last.io, 2u);
    EXPECT_EQ(find(readings, 42)->wakeups, 0u);
}

TEST(LinuxProcessTablePortAsleep, MissingSchedstatIsAskedForOnceAndCountsNoSwitches) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "p", 'S', 1, 0, 0, 1);
    std::filesystem::remove(root.path() / "proc/1/schedstat");
    std::filesystem::remove(root.path() / "proc/42/schedstat");
    CountingSampler counting(fixtureOptions(root));
    auto first = counting.pass();
    EXPECT_EQ(counting.last.schedstat, 2u);
    auto second = counting.pass();
    // Nothing shows whether the main thread ran, so the owner is read too.
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{
        .stat = 2, .statm = 2, .io = 2, .owner = 2, .listings = 1}));
    EXPECT_EQ(find(second, 42)->wakeups, 0u);
    EXPECT_TRUE(find(second, 42)->isComplete);
}

TEST(LinuxProcessTablePortAsleep, WithoutKeptDescriptorsEveryPassReadsWhole) {
    // A fresh open may meet a new process under the old pid.
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "p", 'S', 1, 0, 0, 1);
    auto options = fixtureOptions(root);
    options.descriptorBudget = 1;  // init keeps its schedstat; 42 keeps nothing
    CountingSampler counting(options);
    counting.pass();
    counting.pass();
    EXPECT_EQ(counting.last.stat, 1u);
}

TEST(LinuxProcessTablePortAsleep, DiskFiguresSkippedWhileTheProcessRanAreReadWhenItSleeps) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "p", 'S', 1, 0, 0, 1);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    // It runs and writes during a pass that does not ask for its usage…
    root.write("proc/42/schedstat", "923456 789 45\n");
    writeIO(root, 42, 4096, 65536);
    counting.pass(PidSet{42});
    // …then sleeps: the figures are not the ones from before it ran.
    auto readings = counting.pass();
    EXPECT_EQ(find(readings, 42)->diskWriteBytes, 65536u);
}

TEST(LinuxProcessTablePortAsleep, ProcessWhoseMainThreadExitedIsNotAZombie) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "server", 'Z', 1, 300, 0, 1, 4);
    writeProcess(root, 43, "defunct", 'Z', 1, 0, 0, 1, 1);
    auto readings = CountingSampler(fixtureOptions(root)).pass();
    ASSERT_NE(find(readings, 42), nullptr);
    EXPECT_EQ(find(readings, 42)->cpuTime, Duration::seconds(3));
    EXPECT_EQ(find(readings, 43), nullptr);
}

TEST(LinuxProcessTablePortAsleep, UidIsTheOwnerOfTheDirectoryNotOfItsFiles) {
    // A process that is not dumpable has files owned by root.
    if (geteuid() != 0) GTEST_SKIP() << "needs root to give files away";
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "ssh-agent", 'S', 1, 0, 0, 1);
    ASSERT_EQ(::chown((root.path() / "proc/42").c_str(), 1234, 1234), 0);
    auto readings = CountingSampler(fixtureOptions(root)).pass();
    EXPECT_EQ(find(readings, 42)->uid, 1234u);
}


// A process of `threads` threads, tids pid, pid+1, …, each in task/.
void writeThreadedProcess(const TempDir& root, int pid, int threads) {
    writeProcess(root, pid, "threads", 'S', 1, 250, 50, 12345, threads);
    for (int tid = pid; tid < pid + threads; ++tid) {
        root.write("proc/" + std::to_string(pid) + "/task/" + std::to_string(tid) + "/schedstat",
                   std::to_string(1000 + tid) + " 5 7\n");
    }
}

TEST(LinuxProcessTablePortThreads, ProcessWhoseThreadsAllSleptIsReadFromSchedstatsAndStatmOnly) {
    TempDir root;
    writeInit(root);
    writeThreadedProcess(root, 42, 3);
    CountingSampler counting(fixtureOptions(root));
    auto first = counting.pass();
    EXPECT_EQ(counting.last.threadListings, 1u);
    EXPECT_EQ(counting.last.threadSchedstat, 2u);
    // Threads first read after stat prove nothing until stat is read again.
    counting.pass();
    EXPECT_EQ(counting.last.stat, 1u);
    auto third = counting.pass();
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{
        .statm = 2, .schedstat = 2, .listings = 1, .threadSchedstat = 2}));
    EXPECT_EQ(third, first);
}

TEST(LinuxProcessTablePortThreads, AnyThreadThatRanMakesTheProcessReadWhole) {
    TempDir root;
    writeInit(root);
    writeThreadedProcess(root, 42, 3);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    root.write("proc/42/task/44/schedstat", "9044 5 8\n");
    writeStat(root, 42, "threads", 'S', 1, 350, 50, 12345, 3);
    writeIO(root, 42, 4096, 16384);
    auto readings = counting.pass();
    EXPECT_EQ(counting.last.stat, 1u);
    EXPECT_EQ(counting.last.owner, 0u);  // the main thread slept
    EXPECT_EQ(find(readings, 42)->cpuTime, Duration::seconds(4));
    EXPECT_EQ(find(readings, 42)->diskWriteBytes, 16384u);
    // The next pass trusts the figure read before that stat.
    counting.pass();
    EXPECT_EQ(counting.last.stat, 0u);
}

TEST(LinuxProcessTablePortThreads, NewThreadIsWatchedToo) {
    TempDir root;
    writeInit(root);
    writeThreadedProcess(root, 42, 2);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    // Thread 43 runs and starts thread 44.
    root.write("proc/42/task/43/schedstat", "9043 5 9\n");
    root.write("proc/42/task/44/schedstat", "1044 5 7\n");
    writeStat(root, 42, "threads", 'S', 1, 250, 50, 12345, 3);
    counting.pass();
    EXPECT_EQ(counting.last.threadListings, 1u);
    counting.pass();
    counting.pass();
    EXPECT_EQ(counting.last.stat, 0u);
    EXPECT_EQ(counting.last.threadSchedstat, 2u);
    // Now a change in the new thread alone is seen.
    root.write("proc/42/task/44/schedstat", "9044 5 8\n");
    counting.pass();
    EXPECT_EQ(counting.last.stat, 1u);
}

TEST(LinuxProcessTablePortThreads, ProcessWithManyThreadsHasItsStatReadEveryPassAndNoThreadWatched) {
    TempDir root;
    writeInit(root);
    writeThreadedProcess(root, 42, int(LinuxProcessTablePort::watchedThreadLimit) + 1);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    counting.pass();
    EXPECT_EQ(counting.last.stat, 1u);
    EXPECT_EQ(counting.last.threadSchedstat, 0u);
    EXPECT_EQ(counting.last.threadListings, 0u);
}

TEST(LinuxProcessTablePortThreads, TaskListThatDisagreesWithTheThreadCountWatchesNothing) {
    // Threads came or went between the two reads.
    TempDir root;
    writeInit(root);
    writeThreadedProcess(root, 42, 3);
    std::filesystem::remove_all(root.path() / "proc/42/task/44");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    counting.pass();
    EXPECT_EQ(counting.last.stat, 1u);
    EXPECT_EQ(counting.last.threadListings, 1u);  // asked again after each stat read
}

}  // namespace
}  // namespace orv
