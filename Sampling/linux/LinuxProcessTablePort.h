#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

#include "Sampling/ProcessTablePort.h"
#include "core/FileDescriptor.h"

namespace orv {

// The process table from proc/ below a root directory.
//
// Per process it reads `stat` (state, parent, CPU ticks of every thread,
// start), `statm` (anonymous resident memory = resident − shared),
// `schedstat` (context switches of the main thread) and `io` (bytes that
// reached the block layer); the uid is the owner of the process's proc
// files, which the kernel sets to its effective uid. Another user's `io`
// and `exe` need CAP_SYS_PTRACE and CAP_DAC_READ_SEARCH: without them `io`
// is refused (the reading keeps its CPU time and memory but is incomplete)
// and the path is absent.
//
// Each process's files stay open between passes and are re-read with pread
// at offset 0, about twice as fast as open/read/close. Once the process is
// reaped they fail with ESRCH, so a reused pid is never misread. When
// descriptors run short (a budget below RLIMIT_NOFILE, which is raised to
// its hard limit) new processes are read with open/read/close instead.
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

private:
    enum File { kStat, kStatm, kSchedstat, kIO, kFileCount };

    struct Tracked {
        uint64_t startTicks = 0;
        uint64_t generation = 0;
        FileDescriptor files[kFileCount];
    };
    struct Slot {
        int32_t pid;
        Tracked* tracked;
        uint64_t cpuTicks;
    };
    // The outcome of reading one file: its length, or the errno of failure.
    struct ReadResult {
        ssize_t length;
        int error;
    };

    ReadResult readFile(int32_t pid, Tracked& tracked, File file, char* buffer, size_t size);
    int openFile(int32_t pid, File file);
    void closeAll(Tracked& tracked);
    bool readRow(int32_t pid, Tracked& tracked, bool isNew, ProcessTableRow& row, Slot& slot);

    Options options_;
    FileDescriptor procDirectory_;
    int64_t bootTicks_ = 0;
    size_t budget_ = 0;
    size_t keptDescriptors_ = 0;
    uint64_t generation_ = 0;
    std::unordered_map<int32_t, Tracked> tracked_;
    std::vector<ProcessTableRow> rows_;
    std::vector<Slot> slots_;
    std::vector<char> directoryBuffer_;
};

}  // namespace orv
