#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/Date.h"
#include "core/Duration.h"
#include "core/ProcessOutcome.h"

namespace orv {

// One row of the kernel's process table, as much as the sampler keeps.
struct ProcessTableRow {
    int32_t pid = 0;
    int32_t parentPID = 0;
    uint32_t uid = 0;  // effective user
    // The kernel's own start stamp, exact and stable for the life of the
    // process (macOS: microseconds since the epoch; Linux: clock ticks since
    // boot). With the pid it names one process instance.
    uint64_t startStamp = 0;
    Date start;
    bool isZombie = false;
    // The short command name's bytes up to the first NUL; may be invalid UTF-8.
    char command[64] = {};
    uint8_t commandLength = 0;
    // The port's own index for this row's later reads.
    uint32_t slot = 0;

    std::string_view commandName() const { return {command, commandLength}; }
    void setCommandName(std::string_view name);
};

// Cumulative usage of one process; zero where a figure was not read.
struct ProcessUsage {
    Duration cpuTime;
    uint64_t footprintBytes = 0;
    uint64_t diskReadBytes = 0;
    uint64_t diskWriteBytes = 0;
    uint64_t energyNJ = 0;
    uint64_t wakeups = 0;
};

// What a read of one process's usage gave: the figures read (zero where
// not) and how it went. A reading that is not complete keeps what was read
// before the failure (on Linux, a refused `io` still has CPU time and memory).
struct [[nodiscard]] UsageResult {
    ProcessUsage usage;
    ProcessOutcome outcome = ProcessOutcome::complete;
};

// The platform's reads for ProcessSampler. Implementations: the sysctl and
// libproc port on macOS, the /proc port on Linux, fakes in tests.
class ProcessTablePort {
public:
    virtual ~ProcessTablePort() = default;

    // The live process table in kernel order; valid until the next call.
    // An unreadable table is an empty one.
    virtual std::span<const ProcessTableRow> readTable() = 0;

    // The executable's path as raw bytes, or nothing when it cannot be read.
    virtual std::optional<std::string> executablePath(const ProcessTableRow& row) = 0;

    // Reads the usage figures. `refusedBefore` is true for an instance that
    // was refused earlier: the port then makes no call that was refused
    // (macOS makes none at all) and answers `refused` again.
    virtual UsageResult readUsage(const ProcessTableRow& row, bool refusedBefore) = 0;

    // A command name of this many bytes or more may have been cut by the
    // kernel (16 on macOS, 15 on Linux).
    virtual size_t truncatedNameLength() const = 0;

    // Whether a cut name may be replaced only by a file name that begins
    // with it. On Linux a script's command name is the script's while its
    // executable is the interpreter ("unattended-upgr" runs python3.11), so
    // the interpreter's name would hide the script; macOS names a script by
    // its interpreter already.
    virtual bool longNameMustExtendCommand() const { return false; }

    // The pass's rows are read no more (until the next readTable): a port
    // may let their storage go, so that a live view does not hold a whole
    // table between passes.
    virtual void finishPass() {}
};

// How many passes a port will make: a run that makes one and exits (a
// one-shot `orvantine processes`) keeps nothing for a next pass. The
// readings are the same either way.
enum class ProcessTablePasses { many, one };

// The platform's port. On Linux it reads below `root` ("/" normally, a
// fixture tree in tests); macOS ignores it.
std::unique_ptr<ProcessTablePort> makeProcessTablePort(const std::filesystem::path& root = "/",
                                                       ProcessTablePasses passes = ProcessTablePasses::many);

// Readies the process for a port that keeps descriptors: on Linux the limit
// on open files is raised to its hard limit and the descriptor table is
// sized once for this machine's processes, because growing it while a
// second thread shares it waits for an RCU grace period at every doubling
// (about 50 ms in all at 2,000 processes). Call it first in main, before any
// thread starts. Nothing to do on macOS.
void prepareProcessTable(const std::filesystem::path& root = "/");

}  // namespace orv
