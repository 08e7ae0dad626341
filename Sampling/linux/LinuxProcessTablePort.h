#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

#include "Sampling/ProcFiles.h"
#include "Sampling/ProcessTablePort.h"
#include "core/FileDescriptor.h"

namespace orv {

// The process table from proc/ below a root directory.
//
// Per process it reads `stat` (state, parent, CPU ticks of every thread,
// thread count, start), `statm` (anonymous resident memory = resident −
// shared), `schedstat` (the main thread's time on a CPU and its context
// switches) and `io` (bytes that reached the block layer). The uid is the
// owner of the process's proc directory, which the kernel sets to its
// effective uid (the files inside belong to root when the process is not
// dumpable). Another user's `io` and `exe` need CAP_SYS_PTRACE and
// CAP_DAC_READ_SEARCH: without them `io` is refused (the reading keeps its
// CPU time and memory but is incomplete) and the path is absent.
//
// Each process's files stay open between passes and are re-read with pread
// at offset 0, about twice as fast as open/read/close. Once the process is
// reaped they fail with ESRCH, so a reused pid is never misread. When
// descriptors run short (a budget below RLIMIT_NOFILE, which is raised to
// its hard limit) new processes are read with open/read/close instead.
//
// Most processes on a quiet machine sleep through a pass, and the kernel's
// formatting of `stat` and `io` is most of what a pass costs, so
// `schedstat` is read first. A process none of whose threads has run since
// the last pass (the same time on a CPU and the same switch count) cannot
// have changed its CPU time, I/O, threads, name, uid or state: those are
// kept, and only `statm` is read again, because the kernel can reclaim a
// sleeping process's memory. Its parent can change without it running
// (the parent exits and it is handed to a reaper), so the kept parent is
// trusted only while that parent is still in the table as the same
// instance. A process whose main thread was running at the last read is
// read whole. Besides the main thread, the threads of a process with up to
// `watchedThreadLimit` of them are watched through their own
// task/<tid>/schedstat (a thread can only appear or exit by some known
// thread running, so the known set stays complete while all sleep); a
// process with more has its `stat` and `io` read every pass. (A watched
// thread that runs alone on a CPU without a periodic tick moves its figures
// about once a second, so with passes closer than that its CPU time can
// arrive a pass late; the main thread's state guards the main thread.) The uid
// follows the main thread alone. A kernel thread's `statm` is never read:
// it has no memory of its own.
//
// Listing proc costs about a microsecond per process. proc/loadavg names
// the last pid handed out and counts the machine's threads; while neither
// has moved since the last listing no process can have appeared, and the
// last pass's pids are read again instead (one that exited answers ESRCH).
// A process restored under a chosen pid (clone3 with set_tid) moves neither
// the last pid nor, if another task exited meanwhile, the thread count; it
// is listed at the next pid handed out anywhere. A loadavg that is not
// proc's own (lxcfs serves one to containers) is not trusted.
//
// Every `checkEvery` passes proc is listed and every process read whole
// anyway. Should a process have appeared while loadavg stood still, or one
// whose schedstat stood still have changed (an emulated proc may do either),
// that file is not trusted again.
class LinuxProcessTablePort final : public ProcessTablePort {
public:
    struct Options {
        std::filesystem::path root = "/";
        // The boot instant in Unix seconds; by default CLOCK_REALTIME −
        // CLOCK_BOOTTIME measured once.
        std::optional<double> bootUnixSeconds;
        long ticksPerSecond = 0;  // 0: sysconf(_SC_CLK_TCK)
        long pageSize = 0;        // 0: sysconf(_SC_PAGESIZE)
        // Opens `path` relative to the proc directory; returns a descriptor
        // or -1 with errno set. Tests use it to make a file refuse.
        std::function<int(int procDirectory, const char* path)> open;
        // How many descriptors may be kept open; 0: RLIMIT_NOFILE − 512.
        size_t descriptorBudget = 0;
    };

    explicit LinuxProcessTablePort(Options options);
    ~LinuxProcessTablePort() override;

    std::span<const ProcessTableRow> readTable() override;
    std::optional<std::string> executablePath(const ProcessTableRow& row) override;
    UsageRead readUsage(const ProcessTableRow& row, bool refusedBefore, ProcessUsage& usage) override;
    size_t truncatedNameLength() const override { return 15; }

    size_t keptDescriptors() const { return keptDescriptors_; }

    // How many times each kind of read was made since construction.
    struct ReadCounts {
        uint64_t stat = 0, statm = 0, schedstat = 0, io = 0, owner = 0, listings = 0;
        uint64_t threadSchedstat = 0, threadListings = 0;
        bool operator==(const ReadCounts&) const = default;
    };
    const ReadCounts& readCounts() const { return counts_; }

    // Watching a thread costs a schedstat read a pass; past this many
    // threads that is dearer than reading stat and io.
    static constexpr uint64_t watchedThreadLimit = 5;
    // Every this many passes proc is listed and every process read whole,
    // to check that loadavg and schedstat tell the truth here.
    static constexpr int checkEvery = 30;

private:
    enum File { kStat, kStatm, kSchedstat, kIO, kFileCount };

    struct WatchedThread {
        int32_t tid = 0;
        FileDescriptor schedstat;
        std::optional<ProcSchedstat> sched;
    };

    // What is known of one pid: the instance it names now, its kept
    // descriptors and the figures that a sleeping process keeps.
    struct Tracked {
        uint64_t startTicks = 0;
        uint64_t generation = 0;
        uint64_t instance = 0;  // 0 until the first read of its stat
        FileDescriptor files[kFileCount];

        // From the last read of stat and of the owner.
        int32_t parentPID = 0;
        uint64_t parentInstance = 0;  // the parent as it was then; 0: unknown
        uint64_t instancesAtRead = 0;  // how many instances had been seen then
        uint32_t uid = 0;
        uint64_t cpuTicks = 0;
        uint64_t threadCount = 0;
        char state = 0;  // the main thread's
        bool isZombie = false;
        bool isKernelThread = false;
        char command[64] = {};
        uint8_t commandLength = 0;

        std::optional<ProcSchedstat> sched;
        bool noSchedstat = false;  // the kernel has none to read
        std::optional<ProcIO> io;  // from a pass since which it has slept

        // Every thread but the main one, when there are few enough. Their
        // figures prove sleep only once read before the last stat read.
        std::vector<WatchedThread> threads;
        bool threadsKnown = false;
        bool threadsTrusted = false;
    };
    struct Slot {
        int32_t pid;
        Tracked* tracked;
        bool statWasRead;  // this pass; otherwise the kept figures stand
        bool asleep;       // none of its threads has run since the last pass
        std::optional<ProcIO> sleepingIO;  // when checking a sleeper: what io must still say
    };
    // The outcome of reading one file: its length, or the errno of failure.
    struct ReadResult {
        ssize_t length;
        int error;
    };

    ReadResult readFile(int32_t pid, Tracked& tracked, File file, char* buffer, size_t size);
    int openFile(int32_t pid, File file);
    void closeAll(Tracked& tracked);
    void forgetThreads(Tracked& tracked);
    bool otherThreadsSlept(Tracked& tracked);
    void watchThreads(int32_t pid, Tracked& tracked);
    bool readRow(int32_t pid, Tracked& tracked, bool isNew, Slot& slot);
    bool readStat(int32_t pid, Tracked& tracked, bool isNew, bool mainThreadRan);
    bool readOwner(int32_t pid, Tracked& tracked);
    void confirmParents();
    void fillRow(const Tracked& tracked, int32_t pid, ProcessTableRow& row) const;
    void listPIDs();
    // Appends the positive numbers among the names in `directory`.
    void listNumbers(int directory, std::vector<int32_t>& out);

    Options options_;
    FileDescriptor procDirectory_;
    FileDescriptor loadavg_;
    std::optional<ProcLoadavg> listedAt_;  // loadavg just before the pids were last listed
    int passesSinceCheck_ = 0;
    bool checking_ = false;  // this pass lists and reads whole
    bool schedstatTrusted_ = true;
    int64_t bootTicks_ = 0;
    size_t budget_ = 0;
    size_t keptDescriptors_ = 0;
    uint64_t generation_ = 0;
    uint64_t instances_ = 0;
    ReadCounts counts_;
    std::unordered_map<int32_t, Tracked> tracked_;
    std::vector<ProcessTableRow> rows_;
    std::vector<Slot> slots_;
    std::vector<int32_t> pids_;
    std::vector<char> directoryBuffer_;
};

}  // namespace orv
