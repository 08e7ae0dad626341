#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Sampling/ProcFiles.h"
#include "Sampling/ProcessTablePort.h"
#include "Sampling/linux/ProcDescriptorCache.h"
#include "Sampling/linux/ProcFirstReads.h"
#include "Sampling/linux/ProcParentCheck.h"
#include "Sampling/linux/ProcPidLister.h"
#include "Sampling/linux/ProcReadCounts.h"
#include "Sampling/linux/ProcSleepProof.h"
#include "core/FileDescriptor.h"

namespace orv {

// The process table from proc/ below a root directory: `stat`, `statm`,
// `schedstat` and `io` of each process, its uid from the owner of its
// directory. It orchestrates the parts that keep a pass cheap — kept
// descriptors, the sleep proof, the gated listing and the parent check —
// as "The process pass" in docs/architecture.md explains.
class LinuxProcessTablePort final : public ProcessTablePort {
public:
    struct Options {
        std::filesystem::path root = "/";
        // The boot instant in Unix seconds, fixed; by default
        // `measureBoot` is asked at every pass.
        std::optional<double> bootUnixSeconds;
        // Measures the boot instant in Unix seconds; by default CLOCK_REALTIME
        // − CLOCK_BOOTTIME. Asked at construction and at every pass, since
        // the wall clock steps (NTP after a resume) move it; a new value is
        // taken only when it moved by more than a tick, so that a start time
        // stays the same double from pass to pass.
        std::function<double()> measureBoot;
        long ticksPerSecond = 0;  // 0: sysconf(_SC_CLK_TCK)
        long pageSize = 0;        // 0: sysconf(_SC_PAGESIZE)
        // Opens `path` relative to the proc directory; returns a descriptor
        // or -1 with errno set. Tests use it to make a file refuse.
        ProcDescriptorCache::Open open;
        // How many descriptors may be kept open; 0: RLIMIT_NOFILE − 512.
        size_t descriptorBudget = 0;
        // False for a run that makes one pass: no descriptor is kept for a
        // next pass (see ProcDescriptorCache). The readings are the same.
        bool keepDescriptors = true;
        // Reader threads for a pass that meets at least `readFirstFrom`
        // processes for the first time (a first pass, a one-shot run);
        // 0: every pass reads on the sampling thread alone. By default
        // ProcFirstReads::defaultReaders(). The readings are the same.
        std::optional<size_t> readers;
        size_t readFirstFrom = 64;
    };

    explicit LinuxProcessTablePort(Options options);
    ~LinuxProcessTablePort() override;

    std::span<const ProcessTableRow> readTable() override;
    std::optional<std::string> executablePath(const ProcessTableRow& row) override;
    UsageResult readUsage(const ProcessTableRow& row, bool refusedBefore) override;
    size_t truncatedNameLength() const override { return 15; }
    bool longNameMustExtendCommand() const override { return true; }
    // Lets the rows and the pass's slots go (a third of a kilobyte per
    // process); the next pass starts from the pids alone.
    void finishPass() override;

    size_t keptDescriptors() const { return cache_.kept(); }
    // How many passes started reader threads (see ProcFirstReads).
    uint64_t passesWithReaders() const { return passesWithReaders_; }

    // How many times each kind of read was made since construction.
    using ReadCounts = ProcReadCounts;
    const ReadCounts& readCounts() const { return counts_; }

    static constexpr uint64_t watchedThreadLimit = ProcSleepProof::watchedThreadLimit;
    // Every this many passes proc is listed and every process read whole,
    // to check that loadavg and schedstat tell the truth here.
    static constexpr int checkEvery = 30;

private:
    using File = ProcDescriptorCache::File;

    // What is known of one pid: the instance it names now, its kept
    // descriptors and the figures that a sleeping process keeps.
    // Fields ordered so that none pads another: one of these lives as long
    // as its process.
    struct Tracked {
        // The pass that last met it: 32 bits last 136 years at one pass a
        // second, and a stale one is dropped the pass after.
        uint32_t generation = 0;
        uint32_t threadCount = 0;  // from the last read of stat
        uint64_t instance = 0;  // 0 until the first read of its stat
        ProcDescriptorCache::Files files;
        ProcSleepProof::State sleep;
        ProcParentCheck::Link parent;

        // From the last read of stat and of the owner.
        uint64_t startTicks = 0;
        uint64_t cpuTicks = 0;
        std::optional<ProcIO> io;  // from a pass since which it has slept
        // Held in place up to 15 bytes: only a kernel thread's longer name
        // takes a block of its own.
        std::string command;
        uint32_t uid = 0;
        char state = 0;  // the main thread's
        bool isZombie = false;
        bool isKernelThread = false;
        bool malformedLogged = false;
    };
    struct Slot {
        Tracked* tracked;
        std::optional<ProcIO> sleepingIO;  // when checking a sleeper: what io must still say
        int32_t pid;
        uint32_t firstRead = noFirstRead;  // its reading in firstReads_, when readers made one
        bool statWasRead;  // this pass; otherwise the kept figures stand
        bool asleep;       // none of its threads has run since the last pass
        bool malformed;    // its stat did not decode this pass: the reading is incomplete
        bool schedstatFailed = false;  // its switches could not be read this pass: incomplete too
    };
    static constexpr uint32_t noFirstRead = UINT32_MAX;

    template <class SameInstance>
    Result<std::string_view> readCurrent(int32_t pid, Tracked& tracked, File file, std::span<char> buffer,
                                         bool& isNew, uint64_t& count, SameInstance sameInstance);
    void forgetInstance(Tracked& tracked);
    // The readers' read of `file` of the process being read, taken over as
    // if made here (its descriptor goes to the cache): the errno, 0 when it
    // was read. Nothing when no reader read it.
    std::optional<int> takeFirst(ProcFirstReads::Reading* first, Tracked& tracked, File file);
    // Starts the readers on this pass's new pids when there are enough.
    bool startFirstReads(const std::vector<int32_t>& pids);
    ProcFirstReads::Reading* firstReadOf(const ProcessTableRow& row);
    bool readRow(int32_t pid, Tracked& tracked, bool isNew, Slot& slot);
    // complete, gone, or malformed (the figures kept from before stand, or
    // none when the instance is new).
    ProcessOutcome readStat(int32_t pid, Tracked& tracked, bool isNew, bool mainThreadRan);
    ProcessOutcome statMalformed(int32_t pid, Tracked& tracked, bool isNew);
    bool readOwner(int32_t pid, Tracked& tracked);
    void confirmParents();
    uint64_t liveInstance(int32_t pid) const;
    void fillRow(const Tracked& tracked, int32_t pid, ProcessTableRow& row) const;
    // Whether the kept schedstat still shows the figures that claimed sleep.
    bool stillShows(const Tracked& tracked, const std::optional<ProcSchedstat>& claimed) const;

    void remeasureBoot();

    Options options_;
    int64_t bootTicks_ = 0;
    ReadCounts counts_;
    FileDescriptor procDirectory_;
    ProcDescriptorCache cache_;
    ProcPidLister lister_;
    ProcSleepProof sleepProof_;
    int passesSinceCheck_ = 0;
    bool checking_ = false;  // this pass lists and reads whole
    uint32_t generation_ = 0;
    uint64_t instances_ = 0;
    // After the cache: its descriptors give their places back to it.
    std::unordered_map<int32_t, Tracked> tracked_;
    std::vector<ProcessTableRow> rows_;
    std::vector<Slot> slots_;
    std::vector<int32_t> lastPIDs_;  // the rows' pids, for the next listing
    ProcFirstReads firstReads_;
    uint64_t passesWithReaders_ = 0;
    ProcFirstReads::Reading* first_ = nullptr;  // the reading of the new process being read
};

}  // namespace orv
