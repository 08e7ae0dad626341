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
#include <thread>

#include "Sampling/ProcessSampler.h"
#include "Sampling/linux/LinuxProcessTablePort.h"
#include "core/CapturingLogSink.h"
#include "support/ProcFixture.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;
using namespace test::proc;

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

TEST(LinuxProcessTablePort, AScriptKeepsItsOwnNameNotItsInterpreters) {
    TempDir root;
    // /usr/bin/unattended-upgrade, run by python3.11 from its shebang line.
    writeProcess(root, 42, "unattended-upgr", 'S', 1, 1, 1, 1);
    root.symlink("proc/42/exe", "/usr/bin/python3.11");
    writeProcess(root, 43, "networkd-dispat", 'S', 1, 1, 1, 1);
    root.symlink("proc/43/exe", "/usr/bin/python3.11");
    auto readings = samplerFor(fixtureOptions(root)).sampleNow();
    EXPECT_EQ(find(readings, 42)->name, "unattended-upgr");
    EXPECT_EQ(find(readings, 43)->name, "networkd-dispat");
    EXPECT_EQ(find(readings, 42)->executablePath, "/usr/bin/python3.11");
}

TEST(LinuxProcessTablePort, BootInstantFollowsAWallClockStepButNotJitter) {
    TempDir root;
    writeProcess(root, 42, "p", 'S', 1, 1, 1, 500);
    auto options = fixtureOptions(root);
    options.bootUnixSeconds.reset();
    double boot = 1'700'000'000.0;
    options.measureBoot = [&boot] { return boot; };
    auto sampler = samplerFor(options);
    const Date start = Date::fromUnixSeconds(1'700'000'005.0);
    EXPECT_EQ(findCopy(sampler.sampleNow(), 42)->startTime, start);
    boot += 0.006;  // under a tick (10 ms): the same start, to the bit
    EXPECT_EQ(findCopy(sampler.sampleNow(), 42)->startTime, start);
    boot += 30;  // NTP stepped the clock after a resume: 30.006 s later, to the tick
    EXPECT_EQ(findCopy(sampler.sampleNow(), 42)->startTime, Date::fromUnixSeconds(double(170'000'003'001LL + 500) / 100));
}

TEST(LinuxProcessTablePort, AnUpgradedExecutableLosesTheDeletedMark) {
    TempDir root;
    writeProcess(root, 42, "gnome-shell-cal", 'S', 1, 1, 1, 1);
    root.symlink("proc/42/exe", "/usr/libexec/gnome-shell-calendar-server (deleted)");
    auto readings = samplerFor(fixtureOptions(root)).sampleNow();
    EXPECT_EQ(find(readings, 42)->executablePath, "/usr/libexec/gnome-shell-calendar-server");
    EXPECT_EQ(find(readings, 42)->name, "gnome-shell-calendar-server");
}

TEST(LinuxProcessTablePort, MalformedStatIsAnIncompleteReadingNotAVanishedProcess) {
    TempDir root;
    root.write("proc/40/stat", "40 (truncated");
    root.write("proc/41/stat", "41 (short) S 1 1\n");
    writeProcess(root, 42, "fine", 'S', 1, 0, 0, 1);
    ScopedLogCapture capture;
    auto readings = samplerFor(fixtureOptions(root)).sampleNow();
    ASSERT_EQ(readings.size(), 3u);
    for (int32_t pid : {40, 41}) {
        const auto* r = find(readings, pid);
        ASSERT_NE(r, nullptr) << pid;
        EXPECT_FALSE(r->isComplete);
        EXPECT_EQ(r->uid, getuid());  // the owner of its directory
        EXPECT_EQ(r->cpuTime, Duration::zero());
        EXPECT_EQ(r->footprintBytes, 0u);
    }
    EXPECT_TRUE(find(readings, 42)->isComplete);
}

TEST(LinuxProcessTablePort, MalformedStatIsLoggedOncePerInstance) {
    TempDir root;
    root.write("proc/40/stat", "40 (truncated");
    writeProcess(root, 42, "fine", 'S', 1, 0, 0, 1);
    ScopedLogCapture capture;
    auto sampler = samplerFor(fixtureOptions(root));
    for (int pass = 0; pass < 3; ++pass) {
        auto readings = sampler.sampleNow();
        ASSERT_NE(find(readings, 40), nullptr);
        EXPECT_FALSE(find(readings, 40)->isComplete);
    }
    EXPECT_EQ(capture.sink().count("proc/40/stat did not decode; the process's reading is incomplete"), 1u);
}

TEST(LinuxProcessTablePort, MalformedStatIsCountedAtEveryRead) {
    TempDir root;
    root.write("proc/40/stat", "40 (truncated");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    EXPECT_EQ(counting.last, (LinuxProcessTablePort::ReadCounts{
        .stat = 1, .schedstat = 1, .owner = 1, .listings = 1, .malformedStat = 1}));
    counting.pass();  // nothing proves it slept: stat is read again
    EXPECT_EQ(counting.last.malformedStat, 1u);
}

TEST(LinuxProcessTablePort, StatThatStopsDecodingKeepsTheInstanceAndIsIncompleteUntilItDecodesAgain) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "worker", 'S', 1, 250, 50, 12345);
    auto sampler = samplerFor(fixtureOptions(root));
    auto first = sampler.sampleNow();
    root.write("proc/42/stat", "42 (worker) S");
    root.write("proc/42/schedstat", "923456 789 45\n");  // it ran
    auto second = sampler.sampleNow();
    const auto* r = find(second, 42);
    ASSERT_NE(r, nullptr);  // not dropped as gone
    EXPECT_FALSE(r->isComplete);
    EXPECT_EQ(r->name, "worker");
    EXPECT_EQ(r->startTime, find(first, 42)->startTime);
    EXPECT_EQ(r->cpuTime, Duration::zero());
    writeStat(root, 42, "worker", 'S', 1, 350, 50, 12345);
    auto third = sampler.sampleNow();
    ASSERT_NE(find(third, 42), nullptr);
    EXPECT_TRUE(find(third, 42)->isComplete);
    EXPECT_EQ(find(third, 42)->cpuTime, Duration::seconds(4));
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

TEST(LinuxProcessTablePort, AOnePassPortReadsTheSameAndKeepsNothing) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "bash", 'S', 1, 250, 50, 12345);
    root.symlink("proc/42/exe", "/usr/bin/bash");
    writeProcess(root, 43, "a-long-command-", 'R', 42, 7, 3, 500, 3);
    root.symlink("proc/43/exe", "/opt/a-long-command-name");
    writeProcess(root, 2, "kthreadd", 'S', 0, 0, 0, 0, 1, kernelThreadFlags);
    writeProcess(root, 44, "defunct", 'Z', 42, 0, 0, 600);
    writeProcess(root, 45, "broken", 'S', 1, 0, 0, 700);
    root.write("proc/45/stat", "45 (broken");
    auto refusingIO = [](int dir, const char* path) {
        if (std::strstr(path, "46/io")) {
            errno = EACCES;
            return -1;
        }
        return ::openat(dir, path, O_RDONLY | O_CLOEXEC);
    };
    writeProcess(root, 46, "sshd", 'S', 1, 100, 0, 800);

    auto kept = fixtureOptions(root);
    kept.open = refusingIO;
    auto once = kept;
    once.keepDescriptors = false;
    auto onePass = std::make_unique<LinuxProcessTablePort>(once);
    auto* onePassPort = onePass.get();
    ProcessSampler onePassSampler(std::move(onePass));
    auto expected = samplerFor(kept).sampleNow();
    auto readings = onePassSampler.sampleNow();
    EXPECT_EQ(readings, expected);
    ASSERT_EQ(readings.size(), 6u);  // the zombie left out
    EXPECT_EQ(find(readings, 43)->name, "a-long-command-name");
    EXPECT_FALSE(find(readings, 45)->isComplete);
    EXPECT_FALSE(find(readings, 46)->isComplete);
    EXPECT_EQ(onePassPort->keptDescriptors(), 0u);
}

TEST(LinuxProcessTablePort, MissingProcDirectoryIsAnEmptyTable) {
    TempDir root;
    EXPECT_TRUE(samplerFor(fixtureOptions(root)).sampleNow().empty());
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
    auto before = *findCopy(sampler.sampleNow(), getpid());
    // Burn 300 ms of our own CPU, however busy the machine is.
    auto cpuNow = [] {
        timespec ts{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
        return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
    };
    double until = cpuNow() + 0.3;
    volatile uint64_t spin = 0;
    while (cpuNow() < until) spin = spin + 1;
    auto after = *findCopy(sampler.sampleNow(), getpid());
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
    ReapedChild reaped(child);
    auto readings = sampler.sampleNow();
    reaped.reap();
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
    ReapedChild reaped(child);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // both threads asleep
    ProcessSampler sampler;
    sampler.sampleNow();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    auto before = findCopy(sampler.sampleNow(), child);  // the watched thread is now trusted
    ASSERT_TRUE(before.has_value());
    Duration cpuBefore = before->cpuTime;
    ASSERT_EQ(write(ready[1], "x", 1), 1);
    char done = 0;
    ASSERT_EQ(read(burnt[0], &done, 1), 1);
    auto after = findCopy(sampler.sampleNow(), child);
    reaped.reap();
    for (int fd : {ready[0], ready[1], burnt[0], burnt[1]}) close(fd);
    ASSERT_TRUE(after.has_value());
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
    ReapedChild reaped(child);
    char done = 0;
    ASSERT_EQ(read(ready[0], &done, 1), 1);
    struct stat file{};
    ASSERT_EQ(::stat(("/proc/" + std::to_string(child) + "/stat").c_str(), &file), 0);
    auto readings = ProcessSampler().sampleNow();
    reaped.reap();
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
    ReapedChild reaped(child);
    ASSERT_TRUE(findCopy(sampler.sampleNow(), child).has_value());
    reaped.reap();
    EXPECT_FALSE(findCopy(sampler.sampleNow(), child).has_value());
}

}  // namespace
}  // namespace orv
