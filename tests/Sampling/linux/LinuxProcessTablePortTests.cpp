#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <thread>

#include "Sampling/ProcessSampler.h"
#include "Sampling/linux/LinuxProcessTablePort.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;

constexpr uint32_t userFlags = 4194560;      // PF_RANDOMIZE | PF_FORKNOEXEC, as a user process
constexpr uint32_t kernelThreadFlags = 2129984;  // PF_KTHREAD | PF_NOFREEZE | PF_FORKNOEXEC

// proc/<pid>/stat as the kernel writes it.
void writeStat(const TempDir& root, int pid, const std::string& comm, char state, int ppid, uint64_t utime,
               uint64_t stime, uint64_t start, int threads = 1, uint32_t flags = userFlags) {
    root.write("proc/" + std::to_string(pid) + "/stat",
               std::to_string(pid) + " (" + comm + ") " + state + " " + std::to_string(ppid) + " 1 1 0 -1 " +
                   std::to_string(flags) + " 100 0 0 0 " + std::to_string(utime) + " " + std::to_string(stime) +
                   " 0 0 20 0 " + std::to_string(threads) + " 0 " + std::to_string(start) +
                   " 1000000 300 18446744073709551615 1 1 0 0 0 0 0 0 0 0 0 0 17 0 0 0 0 0 0\n");
}

void writeIO(const TempDir& root, int pid, uint64_t readBytes, uint64_t writeBytes) {
    root.write("proc/" + std::to_string(pid) + "/io",
               "rchar: 9000\nwchar: 8000\nsyscr: 10\nsyscw: 20\nread_bytes: " + std::to_string(readBytes) +
                   "\nwrite_bytes: " + std::to_string(writeBytes) + "\ncancelled_write_bytes: 0\n");
}

// A proc/<pid>/ directory as the kernel writes it: 100 ticks a second,
// 4 KiB pages.
void writeProcess(const TempDir& root, int pid, const std::string& comm, char state, int ppid, uint64_t utime,
                  uint64_t stime, uint64_t start, int threads = 1, uint32_t flags = userFlags) {
    std::string dir = "proc/" + std::to_string(pid) + "/";
    writeStat(root, pid, comm, state, ppid, utime, stime, start, threads, flags);
    root.write(dir + "statm", "2000 300 100 10 0 250 0\n");
    root.write(dir + "schedstat", "123456 789 42\n");
    writeIO(root, pid, 4096, 8192);
}

LinuxProcessTablePort::Options fixtureOptions(const TempDir& root) {
    LinuxProcessTablePort::Options options;
    options.root = root.path();
    options.bootUnixSeconds = 1'700'000'000.0;
    options.ticksPerSecond = 100;
    options.pageSize = 4096;
    return options;
}

ProcessSampler samplerFor(LinuxProcessTablePort::Options options) {
    return ProcessSampler(std::make_unique<LinuxProcessTablePort>(std::move(options)));
}

const ProcessReading* find(const std::vector<ProcessReading>& readings, int32_t pid) {
    for (const auto& r : readings) if (r.pid == pid) return &r;
    return nullptr;
}

TEST(LinuxProcessTablePort, ReadsEveryFigureOfAProcess) {
    TempDir root;
    writeProcess(root, 42, "bash", 'S', 1, 250, 50, 12345);
    root.symlink("proc/42/exe", "/usr/bin/bash");
    root.write("proc/self", "not a process");
    root.write("proc/meminfo", "MemTotal: 1 kB\n");
    auto sampler = samplerFor(fixtureOptions(root));
    auto readings = sampler.sampleNow();
    ASSERT_EQ(readings.size(), 1u);
    const auto& r = readings[0];
    EXPECT_EQ(r.pid, 42);
    EXPECT_EQ(r.parentPID, 1);
    EXPECT_EQ(r.uid, getuid());  // the owner of its directory
    EXPECT_EQ(r.name, "bash");
    EXPECT_EQ(r.executablePath, "/usr/bin/bash");
    EXPECT_EQ(r.startTime, Date::fromUnixSeconds(double(170'000'000'000LL + 12345) / 100));
    EXPECT_EQ(r.cpuTime, Duration::seconds(3));
    EXPECT_EQ(r.footprintBytes, 200u * 4096);  // resident − shared pages
    EXPECT_EQ(r.diskReadBytes, 4096u);
    EXPECT_EQ(r.diskWriteBytes, 8192u);
    EXPECT_EQ(r.energyNJ, 0u);
    EXPECT_EQ(r.wakeups, 42u);
    EXPECT_TRUE(r.isComplete);
}

TEST(LinuxProcessTablePort, ZombieIsSkipped) {
    TempDir root;
    writeProcess(root, 42, "defunct", 'Z', 1, 0, 0, 1);
    writeProcess(root, 43, "alive", 'R', 1, 0, 0, 1);
    auto readings = samplerFor(fixtureOptions(root)).sampleNow();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].pid, 43);
}

TEST(LinuxProcessTablePort, KernelThreadWithoutExeHasNoPath) {
    TempDir root;
    writeProcess(root, 2, "kthreadd", 'S', 0, 0, 0, 0);
    root.write("proc/2/statm", "0 0 0 0 0 0 0\n");
    auto readings = samplerFor(fixtureOptions(root)).sampleNow();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].executablePath, std::nullopt);
    EXPECT_EQ(readings[0].name, "kthreadd");
    EXPECT_EQ(readings[0].footprintBytes, 0u);
    EXPECT_EQ(readings[0].parentPID, 0);
}

TEST(LinuxProcessTablePort, RefusedIoKeepsCpuAndMemoryButIsIncompleteAndNotAskedAgain) {
    TempDir root;
    writeProcess(root, 42, "sshd", 'S', 1, 100, 0, 5);
    auto options = fixtureOptions(root);
    int ioOpens = 0;
    options.open = [&ioOpens](int dir, const char* path) {
        if (std::strstr(path, "/io")) {
            ++ioOpens;
            errno = EACCES;
            return -1;
        }
        return ::openat(dir, path, O_RDONLY | O_CLOEXEC);
    };
    auto sampler = samplerFor(options);
    for (int pass = 0; pass < 3; ++pass) {
        auto readings = sampler.sampleNow();
        ASSERT_EQ(readings.size(), 1u);
        const auto& r = readings[0];
        EXPECT_FALSE(r.isComplete);
        EXPECT_EQ(r.cpuTime, Duration::seconds(1));
        EXPECT_EQ(r.footprintBytes, 200u * 4096);
        EXPECT_EQ(r.wakeups, 42u);
        EXPECT_EQ(r.diskReadBytes, 0u);
        EXPECT_EQ(r.diskWriteBytes, 0u);
    }
    EXPECT_EQ(ioOpens, 1);
    EXPECT_EQ(sampler.refusedCount(), 1u);
}

TEST(LinuxProcessTablePort, ProcessGoneBetweenListingAndReadingIsSkipped) {
    TempDir root;
    root.mkdir("proc/41");  // listed, but its files are gone
    writeProcess(root, 42, "survivor", 'S', 1, 0, 0, 1);
    writeProcess(root, 43, "leaving", 'S', 1, 0, 0, 1);
    std::filesystem::remove(root.path() / "proc/43/statm");  // exited after its stat was read
    auto readings = samplerFor(fixtureOptions(root)).sampleNow();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].pid, 42);
}

TEST(LinuxProcessTablePort, CommandWithSpacesAndParenthesesIsKeptWhole) {
    TempDir root;
    writeProcess(root, 42, "my (odd) name", 'S', 7, 1, 1, 1);
    auto readings = samplerFor(fixtureOptions(root)).sampleNow();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].name, "my (odd) name");
    EXPECT_EQ(readings[0].parentPID, 7);
}

TEST(LinuxProcessTablePort, FifteenByteCommandTakesTheExecutablesName) {
    TempDir root;
    writeProcess(root, 42, "gnome-shell-cal", 'S', 1, 1, 1, 1);
    root.symlink("proc/42/exe", "/usr/libexec/gnome-shell-calendar-server");
    writeProcess(root, 43, "gnome-shell-cal", 'S', 1, 1, 1, 1);  // path unreadable: name kept
    auto readings = samplerFor(fixtureOptions(root)).sampleNow();
    EXPECT_EQ(find(readings, 42)->name, "gnome-shell-calendar-server");
    EXPECT_EQ(find(readings, 43)->name, "gnome-shell-cal");
}

TEST(LinuxProcessTablePort, MalformedStatIsSkipped) {
    TempDir root;
    root.write("proc/40/stat", "40 (truncated");
    root.write("proc/41/stat", "41 (short) S 1 1\n");
    writeProcess(root, 42, "fine", 'S', 1, 0, 0, 1);
    auto readings = samplerFor(fixtureOptions(root)).sampleNow();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].pid, 42);
}

TEST(LinuxProcessTablePort, ReusedPidIsANewInstance) {
    TempDir root;
    writeProcess(root, 42, "first", 'S', 1, 0, 0, 100);
    auto sampler = samplerFor(fixtureOptions(root));
    auto first = sampler.sampleNow();
    writeProcess(root, 42, "second", 'S', 1, 0, 0, 900);
    root.write("proc/42/schedstat", "1000 0 1\n");  // a new process has its own
    auto second = sampler.sampleNow();
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(second[0].name, "second");
    EXPECT_NE(second[0].startTime, first[0].startTime);
}

TEST(LinuxProcessTablePort, ExitedProcessesGiveTheirDescriptorsBack) {
    TempDir root;
    writeProcess(root, 42, "a", 'S', 1, 0, 0, 1);
    writeProcess(root, 43, "b", 'S', 1, 0, 0, 1);
    auto port = std::make_unique<LinuxProcessTablePort>(fixtureOptions(root));
    auto* raw = port.get();
    ProcessSampler sampler(std::move(port));
    sampler.sampleNow();
    EXPECT_EQ(raw->keptDescriptors(), 8u);
    std::filesystem::remove_all(root.path() / "proc/43");
    sampler.sampleNow();
    EXPECT_EQ(raw->keptDescriptors(), 4u);
}

TEST(LinuxProcessTablePort, BeyondTheDescriptorBudgetFilesAreReadAndClosed) {
    TempDir root;
    for (int pid = 10; pid < 20; ++pid) writeProcess(root, pid, "p", 'S', 1, 0, 0, 1);
    auto options = fixtureOptions(root);
    options.descriptorBudget = 6;
    auto port = std::make_unique<LinuxProcessTablePort>(options);
    auto* raw = port.get();
    ProcessSampler sampler(std::move(port));
    auto readings = sampler.sampleNow();
    EXPECT_EQ(readings.size(), 10u);
    for (const auto& r : readings) EXPECT_TRUE(r.isComplete);
    EXPECT_EQ(raw->keptDescriptors(), 6u);
}

TEST(LinuxProcessTablePort, MissingProcDirectoryIsAnEmptyTable) {
    TempDir root;
    EXPECT_TRUE(samplerFor(fixtureOptions(root)).sampleNow().empty());
}

// ---------------------------------------------------------------- sleeping processes

}  // namespace

void PrintTo(const LinuxProcessTablePort::ReadCounts& c, std::ostream* out) {
    *out << "{stat " << c.stat << ", statm " << c.statm << ", schedstat " << c.schedstat << ", io " << c.io
         << ", owner " << c.owner << ", listings " << c.listings << ", thread schedstat " << c.threadSchedstat
         << ", thread listings " << c.threadListings << "}";
}

namespace {

LinuxProcessTablePort::ReadCounts operator-(const LinuxProcessTablePort::ReadCounts& a,
                                            const LinuxProcessTablePort::ReadCounts& b) {
    return {a.stat - b.stat,
            a.statm - b.statm,
            a.schedstat - b.schedstat,
            a.io - b.io,
            a.owner - b.owner,
            a.listings - b.listings,
            a.threadSchedstat - b.threadSchedstat,
            a.threadListings - b.threadListings};
}

// A port over a fixture tree, with its sampler, that tells what each pass read.
struct CountingSampler {
    explicit CountingSampler(LinuxProcessTablePort::Options options) {
        auto owned = std::make_unique<LinuxProcessTablePort>(std::move(options));
        port = owned.get();
        sampler = std::make_unique<ProcessSampler>(std::move(owned));
    }
    std::vector<ProcessReading> pass(const PidSet& skipping = {}) {
        auto before = port->readCounts();
        auto readings = sampler->sampleNow(skipping);
        last = port->readCounts() - before;
        return readings;
    }
    LinuxProcessTablePort* port = nullptr;
    std::unique_ptr<ProcessSampler> sampler;
    LinuxProcessTablePort::ReadCounts last;
};

// init, which every fixture process below is a child of.
void writeInit(const TempDir& root) { writeProcess(root, 1, "init", 'S', 0, 10, 10, 0); }

TEST(LinuxProcessTablePortAsleep, ProcessThatDidNotRunIsReadFromSchedstatAndStatmOnly) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "sleeper", 'S', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    auto first = counting.pass();
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{2, 2, 2, 2, 2, 1, 0, 0}));
    auto second = counting.pass();
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{0, 2, 2, 0, 0, 1, 0, 0}));
    EXPECT_EQ(second, first);  // every figure kept, the readings complete
    EXPECT_TRUE(find(second, 42)->isComplete);
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
    EXPECT_EQ(find(counting.pass(), 42)->cpuTime, Duration::milliseconds(9500));
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

TEST(LinuxProcessTablePortAsleep, MemoryOfASleepingProcessIsReadEveryPass) {
    // The kernel reclaims memory of processes that do not run.
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "sleeper", 'S', 1, 250, 50, 12345);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    root.write("proc/42/statm", "2000 150 100 10 0 250 0\n");
    EXPECT_EQ(find(counting.pass(), 42)->footprintBytes, 50u * 4096);
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
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{1, 2, 2, 1, 1, 1, 0, 0}));
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
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{1, 2, 2, 1, 0, 1, 0, 1}));
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
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{0, 0, 1, 0, 0, 1, 0, 0}));
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
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{2, 2, 0, 2, 2, 1, 0, 0}));
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

// ---------------------------------------------------------------- listing

TEST(LinuxProcessTablePortListing, NoPidHandedOutMeansTheLastPassesPidsAreReadWithoutListing) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "p", 'S', 1, 0, 0, 1);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/120 4242\n");
    CountingSampler counting(fixtureOptions(root));
    auto first = counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);
    auto second = counting.pass();
    EXPECT_EQ(counting.last.listings, 0u);
    EXPECT_EQ(second, first);
    // A new process moves the last pid (and here the thread count).
    writeProcess(root, 4243, "new", 'S', 1, 0, 0, 500);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/121 4243\n");
    auto third = counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);
    EXPECT_NE(find(third, 4243), nullptr);
}

TEST(LinuxProcessTablePortListing, ThreadCountAloneMovingListsAgain) {
    // A pid chosen by its creator (a restored process) leaves the last pid.
    TempDir root;
    writeInit(root);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/120 4242\n");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    writeProcess(root, 300, "restored", 'S', 1, 0, 0, 500);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/121 4242\n");
    EXPECT_NE(find(counting.pass(), 300), nullptr);
    EXPECT_EQ(counting.last.listings, 1u);
}

TEST(LinuxProcessTablePortListing, ProcessThatExitedIsDroppedWithoutListing) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "stays", 'S', 1, 0, 0, 1);
    writeProcess(root, 43, "leaves", 'S', 1, 0, 0, 1);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/120 4242\n");
    auto options = fixtureOptions(root);
    options.descriptorBudget = 1;  // files opened afresh, so a removed one is gone
    CountingSampler counting(options);
    EXPECT_EQ(counting.pass().size(), 3u);
    std::filesystem::remove_all(root.path() / "proc/43");
    auto readings = counting.pass();
    EXPECT_EQ(counting.last.listings, 0u);
    EXPECT_EQ(readings.size(), 2u);
    EXPECT_EQ(find(readings, 43), nullptr);
}

TEST(LinuxProcessTablePortListing, LoadavgFromAnotherFileSystemIsNotTrusted) {
    // As lxcfs mounts its own over a container's proc.
    TempDir root;
    writeInit(root);
    if (::access("/dev/shm", W_OK) != 0) GTEST_SKIP() << "no second file system to mount from";
    struct stat here{}, there{};
    ASSERT_EQ(::stat(root.path().c_str(), &here), 0);
    auto shm = std::filesystem::path("/dev/shm") / ("orvantine-loadavg-" + std::to_string(getpid()));
    { std::ofstream(shm) << "0.10 0.20 0.30 1/120 4242\n"; }
    ASSERT_EQ(::stat(shm.c_str(), &there), 0);
    if (here.st_dev == there.st_dev) {
        std::filesystem::remove(shm);
        GTEST_SKIP() << "the temporary directory is on /dev/shm's file system";
    }
    std::filesystem::create_symlink(shm, root.path() / "proc/loadavg");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    std::filesystem::remove(shm);
    EXPECT_EQ(counting.last.listings, 1u);
}

TEST(LinuxProcessTablePortListing, LoadavgThatStoodStillWhileAProcessAppearedIsNotAskedAgain) {
    TempDir root;
    writeInit(root);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/120 4242\n");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    writeProcess(root, 50, "unannounced", 'S', 1, 0, 0, 100);
    for (int pass = 2; pass < LinuxProcessTablePort::checkEvery; ++pass) counting.pass();
    EXPECT_EQ(counting.last.listings, 0u);
    EXPECT_NE(find(counting.pass(), 50), nullptr);  // the check lists proc
    counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);  // and every pass from now on
}

TEST(LinuxProcessTablePortListing, LoadavgThatStoodStillAndWasRightIsKept) {
    TempDir root;
    writeInit(root);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/120 4242\n");
    CountingSampler counting(fixtureOptions(root));
    for (int pass = 1; pass <= LinuxProcessTablePort::checkEvery; ++pass) counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);  // the check
    counting.pass();
    EXPECT_EQ(counting.last.listings, 0u);
}

TEST(LinuxProcessTablePortListing, LoadavgWithNoPidHandedOutIsNotTrusted) {
    // What an emulated proc may write.
    TempDir root;
    writeInit(root);
    root.write("proc/loadavg", "0.00 0.00 0.00 0/0 0\n");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);
}

TEST(LinuxProcessTablePortListing, WithoutLoadavgEveryPassLists) {
    TempDir root;
    writeInit(root);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);
    root.write("proc/loadavg", "garbage\n");
    CountingSampler garbled(fixtureOptions(root));
    garbled.pass();
    garbled.pass();
    EXPECT_EQ(garbled.last.listings, 1u);
}

// ---------------------------------------------------------------- threads

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
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{0, 2, 2, 0, 0, 1, 2, 0}));
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

// ---------------------------------------------------------------- live

TEST(LinuxProcessTablePortLive, SeesOurOwnPidParentAndUid) {
    ProcessSampler sampler;
    auto readings = sampler.sampleNow();
    const auto* self = find(readings, getpid());
    ASSERT_NE(self, nullptr);
    EXPECT_EQ(self->parentPID, getppid());
    EXPECT_EQ(self->uid, geteuid());
    EXPECT_TRUE(self->isComplete);  // our own io is always readable
    EXPECT_TRUE(self->executablePath.has_value());
    EXPECT_GT(self->footprintBytes, 0u);
    EXPECT_GT(readings.size(), 1u);
}

TEST(LinuxProcessTablePortLive, CpuTimeGrowsAfterBurningCpu) {
    ProcessSampler sampler;
    auto before = *find(sampler.sampleNow(), getpid());
    // Burn 300 ms of our own CPU, however busy the machine is.
    auto cpuNow = [] {
        timespec ts{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
        return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
    };
    double until = cpuNow() + 0.3;
    volatile uint64_t spin = 0;
    while (cpuNow() < until) spin = spin + 1;
    auto after = *find(sampler.sampleNow(), getpid());
    EXPECT_GE((after.cpuTime - before.cpuTime).toSeconds(), 0.28);  // stat counts in 10 ms ticks
    EXPECT_EQ(after.startTime, before.startTime);  // the same double every pass
}

TEST(LinuxProcessTablePortLive, ChildStartTimeIsWithinFiftyMillisecondsOfItsSpawn) {
    ProcessSampler sampler;
    sampler.sampleNow();  // warm: the boot instant is taken at construction
    Date spawned = Date::now();
    pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    ASSERT_GT(child, 0);
    auto readings = sampler.sampleNow();
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const auto* r = find(readings, child);
    ASSERT_NE(r, nullptr);
    EXPECT_NEAR(r->startTime.secondsSinceReferenceDate, spawned.secondsSinceReferenceDate, 0.05);
    EXPECT_EQ(r->parentPID, getpid());
}

TEST(LinuxProcessTablePortLive, CpuOfAThreadThatRunsWhileTheMainThreadSleepsIsCounted) {
    int ready[2], burnt[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(burnt), 0);
    pid_t child = fork();
    if (child == 0) {
        // A second thread waits for the word, burns 200 ms of its own CPU,
        // says so and sleeps; the main thread never wakes.
        std::thread([&] {
            char go = 0;
            if (read(ready[0], &go, 1) != 1) _exit(1);
            auto threadCPU = [] {
                timespec ts{};
                clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
                return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
            };
            double until = threadCPU() + 0.2;
            volatile uint64_t spin = 0;
            while (threadCPU() < until) spin = spin + 1;
            if (write(burnt[1], "x", 1) != 1) _exit(1);
            for (;;) pause();
        }).detach();
        for (;;) pause();
    }
    ASSERT_GT(child, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // both threads asleep
    ProcessSampler sampler;
    sampler.sampleNow();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    auto before = find(sampler.sampleNow(), child);  // the watched thread is now trusted
    ASSERT_NE(before, nullptr);
    Duration cpuBefore = before->cpuTime;
    ASSERT_EQ(write(ready[1], "x", 1), 1);
    char done = 0;
    ASSERT_EQ(read(burnt[0], &done, 1), 1);
    auto after = find(sampler.sampleNow(), child);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    for (int fd : {ready[0], ready[1], burnt[0], burnt[1]}) close(fd);
    ASSERT_NE(after, nullptr);
    EXPECT_GE((after->cpuTime - cpuBefore).toSeconds(), 0.18);  // stat counts in 10 ms ticks
}

TEST(LinuxProcessTablePortLive, ProcessThatIsNotDumpableKeepsItsOwnUid) {
    // Its proc files then belong to root; its directory still shows its uid.
    if (geteuid() != 0) GTEST_SKIP() << "needs root to start a process of another user";
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t child = fork();
    if (child == 0) {
        if (setgid(65534) != 0 || setuid(65534) != 0 || prctl(PR_SET_DUMPABLE, 0) != 0) _exit(1);
        if (write(ready[1], "x", 1) != 1) _exit(1);
        for (;;) pause();
    }
    ASSERT_GT(child, 0);
    char done = 0;
    ASSERT_EQ(read(ready[0], &done, 1), 1);
    struct stat file{};
    ASSERT_EQ(::stat(("/proc/" + std::to_string(child) + "/stat").c_str(), &file), 0);
    auto readings = ProcessSampler().sampleNow();
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ready[0]);
    close(ready[1]);
    EXPECT_EQ(file.st_uid, 0u);  // what the files say
    const auto* r = find(readings, child);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->uid, 65534u);
}

TEST(LinuxProcessTablePortLive, ReapedChildDisappearsAndItsPidIsNotMisread) {
    ProcessSampler sampler;
    pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    ASSERT_NE(find(sampler.sampleNow(), child), nullptr);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(find(sampler.sampleNow(), child), nullptr);
}

}  // namespace
}  // namespace orv
