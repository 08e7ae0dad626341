#include "Sampling/linux/ProcFirstReads.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
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

// A machine of many processes of every kind a pass meets: ordinary ones,
// names cut at 15 bytes, kernel threads, zombies, a stat that does not
// decode, a stat that cannot be opened, io refused, a few threads, and a
// process that exited between the listing and the reading.
void writeManyKinds(const TempDir& root, int first, int count) {
    for (int pid = first; pid < first + count; ++pid) {
        const std::string dir = "proc/" + std::to_string(pid) + "/";
        switch (pid % 9) {
            case 0:
                writeProcess(root, pid, "worker-" + std::to_string(pid), 'S', 1, uint64_t(pid), 3, uint64_t(pid) * 7);
                root.symlink(dir + "exe", "/usr/bin/worker");
                break;
            case 1:  // cut by the kernel; the executable's file name extends it
                writeProcess(root, pid, "unattended-upgr", 'S', 1, 5, 5, uint64_t(pid));
                root.symlink(dir + "exe", "/usr/bin/unattended-upgrade (deleted)");
                break;
            case 2:
                writeProcess(root, pid, "kworker/" + std::to_string(pid), 'I', 2, 0, 1, 3, 1, kernelThreadFlags);
                root.write(dir + "statm", "0 0 0 0 0 0 0\n");
                break;
            case 3:
                writeProcess(root, pid, "defunct", 'Z', 1, 1, 1, uint64_t(pid));
                break;
            case 4:
                writeProcess(root, pid, "garbled", 'S', 1, 1, 1, uint64_t(pid));
                root.write(dir + "stat", std::to_string(pid) + " (garbled");
                break;
            case 5:  // its io is refused by the open hook below
                writeProcess(root, pid, "sshd", 'S', 1, 100, 0, uint64_t(pid));
                break;
            case 6:  // listed, but its files are gone
                root.mkdir(dir);
                break;
            case 7:  // a few threads, which a kept port watches
                writeProcess(root, pid, "threaded", 'S', 1, 9, 9, uint64_t(pid), 3);
                for (int tid : {pid * 100 + 1, pid * 100 + 2, pid}) {
                    root.write(dir + "task/" + std::to_string(tid) + "/schedstat", "5 6 7\n");
                }
                break;
            default:  // its stat cannot be opened, as a process that exited meanwhile
                writeProcess(root, pid, "unstattable", 'S', 1, 1, 1, uint64_t(pid));
                break;
        }
    }
}

// Opens below proc as the kernel would, refusing the io of every pid ≡ 5
// and the stat of every pid ≡ 8 (mod 9); records which threads opened.
struct RecordingOpen {
    std::shared_ptr<std::mutex> mutex = std::make_shared<std::mutex>();
    std::shared_ptr<std::set<std::thread::id>> threads = std::make_shared<std::set<std::thread::id>>();

    ProcDescriptorCache::Open hook() const {
        return [mutex = mutex, threads = threads](int dir, const char* path) {
            {
                std::lock_guard lock(*mutex);
                threads->insert(std::this_thread::get_id());
            }
            const int pid = std::atoi(path);
            if (pid % 9 == 5 && std::strstr(path, "/io")) {
                errno = EACCES;
                return -1;
            }
            if (pid % 9 == 8 && std::strcmp(std::strchr(path, '/'), "/stat") == 0) {
                errno = ENOENT;
                return -1;
            }
            return ::openat(dir, path, O_RDONLY | O_CLOEXEC);
        };
    }
    bool onlyOn(std::thread::id id) const {
        std::lock_guard lock(*mutex);
        return threads->size() == 1 && threads->contains(id);
    }
    void clear() const {
        std::lock_guard lock(*mutex);
        threads->clear();
    }
};

LinuxProcessTablePort::Options optionsFor(const TempDir& root, const RecordingOpen& open, size_t readers,
                                          bool keep) {
    auto options = fixtureOptions(root);
    options.open = open.hook();
    options.readers = readers;
    options.readFirstFrom = 64;
    options.keepDescriptors = keep;
    return options;
}

// A proc tree of `count` processes of every kind from pid 100, with the
// log that the stats that do not decode write to.
struct ManyKinds {
    explicit ManyKinds(int count) {
        writeInit(root);
        writeManyKinds(root, 100, count);
    }
    ScopedLogCapture log;
    TempDir root;
};

class ProcFirstReadsPasses : public ::testing::TestWithParam<bool> {};

TEST_P(ProcFirstReadsPasses, ReadersGiveTheReadingsOfAPassReadAlone) {
    const bool keep = GetParam();
    ManyKinds table(300);
    TempDir& root = table.root;
    RecordingOpen serialOpen, parallelOpen;
    CountingSampler serial(optionsFor(root, serialOpen, 0, keep));
    CountingSampler parallel(optionsFor(root, parallelOpen, 4, keep));

    auto alone = serial.pass();
    auto read = parallel.pass();
    EXPECT_TRUE(serialOpen.onlyOn(std::this_thread::get_id()));
    EXPECT_EQ(serial.port->passesWithReaders(), 0u);
    EXPECT_EQ(parallel.port->passesWithReaders(), 1u);
    EXPECT_EQ(read, alone);
    EXPECT_EQ(parallel.last, serial.last);
    EXPECT_EQ(parallel.port->keptDescriptors(), serial.port->keptDescriptors());
    EXPECT_EQ(parallel.sampler->refusedCount(), serial.sampler->refusedCount());

    // The fixture's kinds all showed up, as a pass read alone shows them.
    ASSERT_NE(find(alone, 108), nullptr);
    EXPECT_EQ(find(alone, 108)->executablePath, "/usr/bin/worker");
    ASSERT_NE(find(alone, 100), nullptr);
    EXPECT_EQ(find(alone, 100)->name, "unattended-upgrade");
    ASSERT_NE(find(alone, 101), nullptr);
    EXPECT_EQ(find(alone, 101)->footprintBytes, 0u);  // a kernel thread
    EXPECT_EQ(find(alone, 102), nullptr);              // a zombie
    ASSERT_NE(find(alone, 103), nullptr);               // a stat that did not decode
    EXPECT_FALSE(find(alone, 103)->isComplete);
    ASSERT_NE(find(alone, 104), nullptr);  // io refused
    EXPECT_FALSE(find(alone, 104)->isComplete);
    EXPECT_EQ(find(alone, 104)->footprintBytes, 200u * 4096);
    EXPECT_EQ(find(alone, 105), nullptr);  // vanished
    EXPECT_EQ(find(alone, 107), nullptr);  // its stat could not be opened
    ASSERT_NE(find(alone, 106), nullptr);  // three threads
    EXPECT_TRUE(find(alone, 106)->isComplete);

    // The pass after reads the same with or without readers.
    auto aloneAgain = serial.pass();
    auto readAgain = parallel.pass();
    EXPECT_EQ(readAgain, aloneAgain);
    EXPECT_EQ(parallel.last, serial.last);
    EXPECT_EQ(parallel.port->keptDescriptors(), serial.port->keptDescriptors());
}

INSTANTIATE_TEST_SUITE_P(OneAndMany, ProcFirstReadsPasses, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "ManyPasses" : "OnePass"; });

TEST(ProcFirstReads, OnlyAPassThatMeetsManyNewProcessesUsesReaders) {
    ManyKinds table(100);
    TempDir& root = table.root;
    RecordingOpen open;
    CountingSampler sampler(optionsFor(root, open, 2, true));
    const auto self = std::this_thread::get_id();
    sampler.pass();
    EXPECT_EQ(sampler.port->passesWithReaders(), 1u);

    // A warm pass, and one that meets a few new processes, stay on the
    // sampling thread.
    open.clear();
    sampler.pass();
    writeManyKinds(root, 200, 10);
    auto few = sampler.pass();
    EXPECT_TRUE(open.onlyOn(self));
    EXPECT_EQ(sampler.port->passesWithReaders(), 1u);
    EXPECT_NE(find(few, 207), nullptr);

    // Many new ones at once are read by the readers again.
    open.clear();
    writeManyKinds(root, 300, 80);
    auto many = sampler.pass();
    EXPECT_EQ(sampler.port->passesWithReaders(), 2u);
    EXPECT_NE(find(many, 306), nullptr);
}

TEST(ProcFirstReads, NoReadersReadsOnTheSamplingThreadAlone) {
    ManyKinds table(100);
    TempDir& root = table.root;
    RecordingOpen open;
    CountingSampler sampler(optionsFor(root, open, 0, false));
    sampler.pass();
    EXPECT_TRUE(open.onlyOn(std::this_thread::get_id()));
}

TEST(ProcFirstReads, ReadersKeepNoMoreDescriptorsThanTheBudget) {
    ManyKinds table(200);
    TempDir& root = table.root;
    RecordingOpen serialOpen, parallelOpen;
    auto serialOptions = optionsFor(root, serialOpen, 0, true);
    auto parallelOptions = optionsFor(root, parallelOpen, 4, true);
    serialOptions.descriptorBudget = parallelOptions.descriptorBudget = 150;
    CountingSampler serial(std::move(serialOptions));
    CountingSampler parallel(std::move(parallelOptions));
    auto alone = serial.pass();
    auto read = parallel.pass();
    EXPECT_EQ(read, alone);
    // The readers hold descriptors in the order they read, not the
    // listing's: fewer may be kept after the first pass, never more.
    EXPECT_EQ(serial.port->keptDescriptors(), 150u);
    EXPECT_LE(parallel.port->keptDescriptors(), 150u);
    EXPECT_EQ(parallel.pass(), serial.pass());
    EXPECT_EQ(parallel.port->keptDescriptors(), 150u);
}

TEST(ProcFirstReads, DefaultReadersAreNoneOnOneCoreAndAtMostFour) {
    const size_t cores = std::thread::hardware_concurrency();
    const size_t readers = ProcFirstReads::defaultReaders();
    if (cores <= 1) {
        EXPECT_EQ(readers, 0u);
    } else {
        EXPECT_EQ(readers, std::min<size_t>(cores, 4));
    }
}

TEST(ProcFirstReads, ReaderThreadsReadBesideTheCaller) {
    TempDir root;
    writeManyKinds(root, 100, 90);
    FileDescriptor proc(::open((root.path() / "proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // The caller's opens wait until another thread has opened a file, for
    // at most ten seconds: only a reader thread of its own lets it on.
    const auto caller = std::this_thread::get_id();
    auto mutex = std::make_shared<std::mutex>();
    auto opened = std::make_shared<std::condition_variable>();
    auto elsewhere = std::make_shared<bool>(false);
    ProcDescriptorCache::Open open = [=](int dir, const char* path) {
        std::unique_lock lock(*mutex);
        if (std::this_thread::get_id() == caller) {
            opened->wait_for(lock, std::chrono::seconds(10), [&] { return *elsewhere; });
        } else {
            *elsewhere = true;
            opened->notify_all();
        }
        return ::openat(dir, path, O_RDONLY | O_CLOEXEC);
    };
    ProcFirstReads reads(proc.get(), open, false);
    std::vector<int32_t> pids;
    for (int pid = 100; pid < 190; ++pid) pids.push_back(pid);
    reads.start(pids, 2);
    for (size_t i = 0; i < pids.size(); ++i) EXPECT_EQ(reads.at(i).pid, pids[i]);
    reads.finish();
    std::lock_guard lock(*mutex);
    EXPECT_TRUE(*elsewhere);
}

TEST(ProcFirstReads, ReadingsComeInTheOrderGivenWhateverTheReaders) {
    TempDir root;
    writeManyKinds(root, 100, 90);
    FileDescriptor proc(::open((root.path() / "proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ProcFirstReads reads(proc.get(), nullptr, false);
    std::vector<int32_t> pids;
    for (int pid = 189; pid >= 100; --pid) pids.push_back(pid);
    reads.start(pids, 3);
    for (size_t i = 0; i < pids.size(); ++i) {
        auto& reading = reads.at(i);
        EXPECT_EQ(reading.pid, pids[i]);
        const bool gone = pids[i] % 9 == 6;
        EXPECT_EQ(reading.files[ProcDescriptorCache::stat].error, gone ? ENOENT : 0) << pids[i];
        EXPECT_FALSE(reading.files[ProcDescriptorCache::stat].fd.valid());  // nothing kept
        if (pids[i] % 9 == 0) {
            ASSERT_TRUE(reading.stat);
            EXPECT_EQ(reading.decodedStat()->command, "worker-" + std::to_string(pids[i]));
            EXPECT_EQ(reading.executable, "/usr/bin/worker");
        }
    }
    reads.finish();
    reads.release();
    EXPECT_FALSE(reads.active());
}

}  // namespace
}  // namespace orv
