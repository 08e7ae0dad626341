#include "Sampling/linux/ProcSleepProof.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "Sampling/linux/ProcNumberedEntries.h"
#include "Sampling/linux/ProcPath.h"

namespace orv {

ProcSleepProof::ProcSleepProof(int procDirectory, ProcDescriptorCache& cache, ProcReadCounts& counts)
    : procDirectory_(procDirectory), cache_(cache), counts_(counts) {}

ProcSleepProof::Verdict ProcSleepProof::judge(State& state, const Evidence& evidence) {
    Verdict verdict;
    const auto& sched = evidence.sched;
    // Only a descriptor kept from the last pass proves that this is the
    // same process: a fresh open may have met a new one with the old pid.
    verdict.mainThreadSlept = evidence.sameInstance && sched && sched->isKnown() && state.sched == sched;
    // A task that was on a CPU may still be there: on a CPU without a
    // periodic tick (nohz_full) its figures move only about once a second.
    verdict.asleep = verdict.mainThreadSlept && evidence.figuresKept && evidence.mainState != 'R' &&
                     (evidence.threadCount == 1 || otherThreadsSlept(state, evidence.threadCount));
    // A sleeper read whole anyway must show the figures it kept, or
    // schedstat is disproved.
    verdict.checkingSleeper = verdict.asleep && (evidence.checking || !trusted_);
    checkedThisPass_ = checkedThisPass_ || verdict.checkingSleeper;
    if (verdict.checkingSleeper) verdict.asleep = false;
    return verdict;
}

void ProcSleepProof::beginPass() {
    if (!trusted_ && checkedThisPass_ && !disprovedThisPass_ && ++cleanChecks_ >= cleanChecksToTrust) {
        trusted_ = true;
        cleanChecks_ = 0;
    }
    checkedThisPass_ = false;
    disprovedThisPass_ = false;
}

void ProcSleepProof::forgetThreads(State& state) {
    state.threads.clear();  // their descriptors give their places back
    state.threadsKnown = false;
    state.threadsTrusted = false;
}

bool ProcSleepProof::otherThreadsSlept(State& state, uint64_t threadCount) {
    if (!state.threadsKnown || state.threads.size() + 1 != threadCount) return false;
    // Read in order and stop at the first that ran: the figures of those
    // after it stay older than the stat read that follows, so they can only
    // show a change that is not there, never hide one.
    bool trusted = state.threadsTrusted;
    for (auto& thread : state.threads) {
        char buffer[128];
        ++counts_.threadSchedstat;
        auto text = ProcDescriptorCache::reread(thread.schedstat, buffer);
        if (!text) {
            // That thread exited: the set is no longer known.
            forgetThreads(state);
            return false;
        }
        auto sched = ProcSchedstat::decode(*text);
        bool slept = sched && sched->isKnown() && thread.sched == sched;
        thread.sched = sched;
        if (!slept) return false;
    }
    return trusted;
}

void ProcSleepProof::watchThreads(int32_t pid, State& state, uint64_t threadCount) {
    state.threadsTrusted = true;
    if (threadCount < 2 || threadCount > watchedThreadLimit) {
        if (!state.threads.empty() || state.threadsKnown) forgetThreads(state);
        return;
    }
    if (state.threadsKnown && state.threads.size() + 1 == threadCount) return;

    forgetThreads(state);
    // With no room left for a descriptor none would be watched (a run that
    // makes one pass keeps none): the listing would be wasted.
    if (!cache_.hasRoom()) return;
    ++counts_.threadListings;
    ProcPath taskPath(pid, "task");
    FileDescriptor directory(::openat(procDirectory_, taskPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid()) return;
    tids_.clear();
    appendNumberedEntries(directory.get(), directoryBuffer_, tids_);
    std::erase(tids_, pid);
    // Threads came or went since stat was read: the next full read tries again.
    if (tids_.size() + 1 != threadCount) return;
    for (int32_t tid : tids_) {
        ProcPath path(pid, tid, "schedstat");
        auto schedstat = cache_.keep(path.c_str());
        if (!schedstat.valid()) {
            forgetThreads(state);
            return;
        }
        WatchedThread& thread = state.threads.emplace_back();
        thread.tid = tid;
        thread.schedstat = std::move(schedstat);
        char buffer[128];
        ++counts_.threadSchedstat;
        auto text = ProcDescriptorCache::reread(thread.schedstat, buffer);
        if (text && !text->empty()) thread.sched = ProcSchedstat::decode(*text);
    }
    state.threadsKnown = true;
    // Read after stat: these figures prove nothing until the next stat read.
    state.threadsTrusted = false;
}

}  // namespace orv
