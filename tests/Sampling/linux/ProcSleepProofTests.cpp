// Whether a process slept through a pass, from its schedstat and its threads'.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "Sampling/linux/ProcSleepProof.h"
#include "support/ProcFixture.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;

const std::optional<ProcSchedstat> ran = ProcSchedstat{1000, 5, 7};
const std::optional<ProcSchedstat> ranMore = ProcSchedstat{2000, 5, 8};

struct Proof {
    TempDir root;
    FileDescriptor proc;
    ProcReadCounts counts;
    std::optional<ProcDescriptorCache> cache;
    std::optional<ProcSleepProof> proof;
    ProcSleepProof::State state;

    Proof() {
        root.mkdir("proc");
        proc.reset(::open((root.path() / "proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        cache.emplace(proc.get(), 64, nullptr);
        proof.emplace(proc.get(), *cache, counts);
    }

    // A process of `threads` threads, tids pid, pid+1, …, each in task/.
    void writeThreads(int pid, int threads) {
        for (int tid = pid; tid < pid + threads; ++tid) writeThread(pid, tid, std::to_string(1000 + tid) + " 5 7\n");
    }
    void writeThread(int pid, int tid, const std::string& schedstat) {
        root.write("proc/" + std::to_string(pid) + "/task/" + std::to_string(tid) + "/schedstat", schedstat);
    }

    ProcSleepProof::Verdict judge(const std::optional<ProcSchedstat>& now, uint64_t threadCount = 1,
                                  char mainState = 'S', bool sameInstance = true, bool checking = false) {
        return proof->judge(state, {.sched = now,
                                    .sameInstance = sameInstance,
                                    .figuresKept = true,
                                    .mainState = mainState,
                                    .threadCount = threadCount,
                                    .checking = checking});
    }
};

TEST(ProcSleepProof, MainThreadWhoseFiguresStoodStillSlept) {
    Proof p;
    p.state.sched = ran;
    auto verdict = p.judge(ran);
    EXPECT_TRUE(verdict.mainThreadSlept);
    EXPECT_TRUE(verdict.asleep);
    EXPECT_FALSE(verdict.checkingSleeper);
}

TEST(ProcSleepProof, MainThreadWhoseFiguresMovedRan) {
    Proof p;
    p.state.sched = ran;
    auto verdict = p.judge(ranMore);
    EXPECT_FALSE(verdict.mainThreadSlept);
    EXPECT_FALSE(verdict.asleep);
}

TEST(ProcSleepProof, FreshlyOpenedSchedstatProvesNothing) {
    // It may belong to a new process under the old pid.
    Proof p;
    p.state.sched = ran;
    EXPECT_FALSE(p.judge(ran, 1, 'S', false).asleep);
}

TEST(ProcSleepProof, ZerosProveNothing) {
    // A kernel without scheduler statistics writes them for every task.
    Proof p;
    p.state.sched = ProcSchedstat{};
    EXPECT_FALSE(p.judge(ProcSchedstat{}).asleep);
}

TEST(ProcSleepProof, ProcessThatWasRunningIsNotAsleep) {
    Proof p;
    p.state.sched = ran;
    auto verdict = p.judge(ran, 1, 'R');
    EXPECT_TRUE(verdict.mainThreadSlept);
    EXPECT_FALSE(verdict.asleep);
}

TEST(ProcSleepProof, CheckPassReadsASleeperWholeAndADisprovedProofAlways) {
    Proof p;
    p.state.sched = ran;
    auto checked = p.judge(ran, 1, 'S', true, true);
    EXPECT_FALSE(checked.asleep);
    EXPECT_TRUE(checked.checkingSleeper);
    EXPECT_TRUE(p.judge(ran).asleep);
    p.proof->disprove();
    EXPECT_FALSE(p.proof->trusted());
    EXPECT_TRUE(p.judge(ran).checkingSleeper);
}

TEST(ProcSleepProof, OtherThreadsAreWatchedAndProveSleepFromTheNextStatRead) {
    Proof p;
    p.writeThreads(42, 3);
    p.state.sched = ran;
    p.proof->watchThreads(42, p.state, 3);
    EXPECT_EQ(p.counts.threadListings, 1u);
    EXPECT_EQ(p.counts.threadSchedstat, 2u);
    EXPECT_EQ(p.cache->kept(), 2u);
    // Read after that stat: they prove nothing yet.
    EXPECT_FALSE(p.judge(ran, 3).asleep);
    p.proof->watchThreads(42, p.state, 3);  // the next stat read
    EXPECT_EQ(p.counts.threadListings, 1u);
    EXPECT_TRUE(p.judge(ran, 3).asleep);
}

TEST(ProcSleepProof, AnyThreadThatRanMeansTheProcessRan) {
    Proof p;
    p.writeThreads(42, 3);
    p.state.sched = ran;
    p.proof->watchThreads(42, p.state, 3);
    p.proof->watchThreads(42, p.state, 3);
    p.writeThread(42, 44, "9044 5 8\n");
    EXPECT_FALSE(p.judge(ran, 3).asleep);
}

TEST(ProcSleepProof, ThreadCountThatDisagreesWithTheWatchedSetProvesNothing) {
    Proof p;
    p.writeThreads(42, 3);
    p.state.sched = ran;
    p.proof->watchThreads(42, p.state, 3);
    p.proof->watchThreads(42, p.state, 3);
    EXPECT_FALSE(p.judge(ran, 4).asleep);
}

TEST(ProcSleepProof, ManyThreadsAreNotWatched) {
    Proof p;
    int threads = int(ProcSleepProof::watchedThreadLimit) + 1;
    p.writeThreads(42, threads);
    p.proof->watchThreads(42, p.state, uint64_t(threads));
    EXPECT_EQ(p.counts.threadListings, 0u);
    EXPECT_FALSE(p.state.threadsKnown);
}

TEST(ProcSleepProof, ForgottenThreadsGiveTheirDescriptorsBack) {
    Proof p;
    p.writeThreads(42, 3);
    p.proof->watchThreads(42, p.state, 3);
    EXPECT_EQ(p.cache->kept(), 2u);
    p.proof->forgetThreads(p.state);
    EXPECT_EQ(p.cache->kept(), 0u);
}

TEST(ProcSleepProof, ThreadsBeyondTheBudgetAreNotWatched) {
    Proof p;
    p.writeThreads(42, 3);
    ProcDescriptorCache small(p.proc.get(), 1, nullptr);
    ProcSleepProof proof(p.proc.get(), small, p.counts);
    ProcSleepProof::State state;
    proof.watchThreads(42, state, 3);
    EXPECT_FALSE(state.threadsKnown);
    EXPECT_EQ(small.kept(), 0u);
}

}  // namespace
}  // namespace orv
