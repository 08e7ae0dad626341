#pragma once

#include <optional>

#include <signal.h>
#include <sys/wait.h>

// A fake proc/ for the Linux process table port's tests: files written as
// the kernel writes them (100 ticks a second, 4 KiB pages), and a sampler
// that tells which files each pass read.

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "Sampling/ProcessSampler.h"
#include "Sampling/linux/LinuxProcessTablePort.h"
#include "support/TempDir.h"

namespace orv {

inline void PrintTo(const LinuxProcessTablePort::ReadCounts& c, std::ostream* out) {
    *out << "{stat " << c.stat << ", statm " << c.statm << ", schedstat " << c.schedstat << ", io " << c.io
         << ", owner " << c.owner << ", listings " << c.listings << ", thread schedstat " << c.threadSchedstat
         << ", thread listings " << c.threadListings << ", malformed stat " << c.malformedStat << "}";
}

inline LinuxProcessTablePort::ReadCounts operator-(const LinuxProcessTablePort::ReadCounts& a,
                                                   const LinuxProcessTablePort::ReadCounts& b) {
    return {.stat = a.stat - b.stat,
            .statm = a.statm - b.statm,
            .schedstat = a.schedstat - b.schedstat,
            .io = a.io - b.io,
            .owner = a.owner - b.owner,
            .listings = a.listings - b.listings,
            .threadSchedstat = a.threadSchedstat - b.threadSchedstat,
            .threadListings = a.threadListings - b.threadListings,
            .malformedStat = a.malformedStat - b.malformedStat};
}

namespace test::proc {

inline constexpr uint32_t userFlags = 4194560;          // PF_RANDOMIZE | PF_FORKNOEXEC, as a user process
inline constexpr uint32_t kernelThreadFlags = 2129984;  // PF_KTHREAD | PF_NOFREEZE | PF_FORKNOEXEC

// proc/<pid>/stat as the kernel writes it.
inline void writeStat(const test::TempDir& root, int pid, const std::string& comm, char state, int ppid,
                      uint64_t utime, uint64_t stime, uint64_t start, int threads = 1, uint32_t flags = userFlags) {
    root.write("proc/" + std::to_string(pid) + "/stat",
               std::to_string(pid) + " (" + comm + ") " + state + " " + std::to_string(ppid) + " 1 1 0 -1 " +
                   std::to_string(flags) + " 100 0 0 0 " + std::to_string(utime) + " " + std::to_string(stime) +
                   " 0 0 20 0 " + std::to_string(threads) + " 0 " + std::to_string(start) +
                   " 1000000 300 18446744073709551615 1 1 0 0 0 0 0 0 0 0 0 0 17 0 0 0 0 0 0\n");
}

inline void writeIO(const test::TempDir& root, int pid, uint64_t readBytes, uint64_t writeBytes) {
    root.write("proc/" + std::to_string(pid) + "/io",
               "rchar: 9000\nwchar: 8000\nsyscr: 10\nsyscw: 20\nread_bytes: " + std::to_string(readBytes) +
                   "\nwrite_bytes: " + std::to_string(writeBytes) + "\ncancelled_write_bytes: 0\n");
}

// A proc/<pid>/ directory as the kernel writes it: 100 ticks a second,
// 4 KiB pages.
inline void writeProcess(const test::TempDir& root, int pid, const std::string& comm, char state, int ppid,
                         uint64_t utime, uint64_t stime, uint64_t start, int threads = 1,
                         uint32_t flags = userFlags) {
    std::string dir = "proc/" + std::to_string(pid) + "/";
    writeStat(root, pid, comm, state, ppid, utime, stime, start, threads, flags);
    root.write(dir + "statm", "2000 300 100 10 0 250 0\n");
    root.write(dir + "schedstat", "123456 789 42\n");
    writeIO(root, pid, 4096, 8192);
}

inline LinuxProcessTablePort::Options fixtureOptions(const test::TempDir& root) {
    LinuxProcessTablePort::Options options;
    options.root = root.path();
    options.bootUnixSeconds = 1'700'000'000.0;
    options.ticksPerSecond = 100;
    options.pageSize = 4096;
    return options;
}

inline ProcessSampler samplerFor(LinuxProcessTablePort::Options options) {
    return ProcessSampler(std::make_unique<LinuxProcessTablePort>(std::move(options)));
}

inline const ProcessReading* find(const std::vector<ProcessReading>& readings, int32_t pid) {
    for (const auto& r : readings) if (r.pid == pid) return &r;
    return nullptr;
}
// A pointer into a pass's temporary result would dangle: take a copy.
const ProcessReading* find(std::vector<ProcessReading>&& readings, int32_t pid) = delete;
inline std::optional<ProcessReading> findCopy(const std::vector<ProcessReading>& readings, int32_t pid) {
    if (const auto* r = find(readings, pid)) return *r;
    return std::nullopt;
}

// Kills and reaps a forked child when the scope ends, on every path out of
// a test (a failed assertion included), so that no child outlives it.
class ReapedChild {
public:
    explicit ReapedChild(pid_t pid) : pid_(pid) {}
    ReapedChild(const ReapedChild&) = delete;
    ReapedChild& operator=(const ReapedChild&) = delete;
    ~ReapedChild() { reap(); }
    void reap() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_;
};

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
inline void writeInit(const test::TempDir& root) { writeProcess(root, 1, "init", 'S', 0, 10, 10, 0); }

}  // namespace test::proc
}  // namespace orv
