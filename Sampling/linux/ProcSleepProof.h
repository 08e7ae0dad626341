#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Sampling/ProcFiles.h"
#include "Sampling/linux/ProcDescriptorCache.h"
#include "Sampling/linux/ProcReadCounts.h"

namespace orv {

// Proves that a process slept through a pass, from the schedstat of its main
// thread and of its other threads when there are few, so that its kept CPU
// time, I/O, threads, name, uid and state stand without reading stat or io.
// Also keeps the machine-wide verdict on whether schedstat tells the truth.
class ProcSleepProof {
public:
    // Watching a thread costs a schedstat read a pass; past this many
    // threads that is dearer than reading stat and io.
    static constexpr uint64_t watchedThreadLimit = 5;

    struct WatchedThread {
        int32_t tid = 0;
        ProcDescriptorCache::Kept schedstat;
        std::optional<ProcSchedstat> sched;
    };

    // What the proof keeps of one process.
    struct State {
        std::optional<ProcSchedstat> sched;  // the main thread's, at its last read
        // Every thread but the main one, when there are few enough. Their
        // figures prove sleep only once read before the last stat read.
        std::vector<WatchedThread> threads;
        bool noSchedstat = false;  // the kernel has none to read
        bool threadsKnown = false;
        bool threadsTrusted = false;
    };

    // What the process's own figures say at this pass's schedstat read.
    struct Evidence {
        const std::optional<ProcSchedstat>& sched;  // read now
        bool sameInstance;   // read through a descriptor kept from the last pass
        bool figuresKept;    // its stat has been read before
        char mainState;      // at the last stat read
        uint64_t threadCount;
        bool checking;       // this pass reads every process whole anyway
    };
    struct Verdict {
        bool mainThreadSlept = false;
        bool asleep = false;          // none of its threads ran: keep the figures
        bool checkingSleeper = false; // asleep, but read whole to test schedstat
    };

    // `procDirectory` is borrowed.
    ProcSleepProof(int procDirectory, ProcDescriptorCache& cache, ProcReadCounts& counts);

    Verdict judge(State& state, const Evidence& evidence);
    // After a read of stat: what was read before it now proves sleep, and
    // the threads to watch are listed again when they changed.
    void watchThreads(int32_t pid, State& state, uint64_t threadCount);
    void forgetThreads(State& state);
    // A sleeper read whole showed figures other than those kept, while its
    // schedstat still showed the figures that claimed sleep.
    void disprove() {
        trusted_ = false;
        cleanChecks_ = 0;
        disprovedThisPass_ = true;
    }
    bool trusted() const { return trusted_; }

    // Called as each pass begins, closing the one before: a distrusted
    // proof checks every sleeper, and after this many passes whose checks
    // all held, schedstat is trusted again (a disproof can come from a
    // kernel quirk that passes, such as a stalled scheduler clock after
    // resume).
    static constexpr int cleanChecksToTrust = 10;
    void beginPass();

private:
    bool otherThreadsSlept(State& state, uint64_t threadCount);

    int procDirectory_;
    ProcDescriptorCache& cache_;
    ProcReadCounts& counts_;
    bool trusted_ = true;
    int cleanChecks_ = 0;
    bool checkedThisPass_ = false;
    bool disprovedThisPass_ = false;
    std::vector<int32_t> tids_;
    alignas(8) char directoryBuffer_[4096];
};

}  // namespace orv
