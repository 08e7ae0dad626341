#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orv {

// Decoders of the per-process files under Linux's proc/<pid>/ (see proc(5)).
// Each `decode` takes the file's bytes and returns the fields or nothing
// when the text is short or malformed; none does I/O.

struct ProcStat {
    std::string_view command;  // between the first '(' and the last ')'
    char state = 0;
    int32_t parentPID = 0;
    int32_t processGroup = 0;
    int32_t session = 0;
    uint32_t flags = 0;        // the kernel's PF_* task flags
    uint64_t userTicks = 0;    // every thread's, exited ones included
    uint64_t systemTicks = 0;
    uint64_t threadCount = 0;
    uint64_t startTicks = 0;   // clock ticks after boot

    // A kernel thread has no memory of its own and never gains any.
    bool isKernelThread() const { return (flags & 0x00200000u) != 0; }  // PF_KTHREAD
    // A dead main thread shows 'Z' while the process's other threads run;
    // only a process with no other thread left is a zombie.
    bool isZombie() const { return (state == 'Z' || state == 'X') && threadCount <= 1; }

    // proc/<pid>/stat. The command may hold spaces and parentheses, so the
    // fields are counted from the last ')'.
    static std::optional<ProcStat> decode(std::string_view text);
};

struct ProcStatm {
    uint64_t residentPages = 0;
    uint64_t sharedPages = 0;  // resident file-backed and shared-memory pages

    static std::optional<ProcStatm> decode(std::string_view text);
};

struct ProcIO {
    uint64_t readBytes = 0;   // read_bytes: what reached the block layer
    uint64_t writeBytes = 0;  // write_bytes
    bool operator==(const ProcIO&) const = default;

    // Absent unless both lines are there and numbers.
    static std::optional<ProcIO> decode(std::string_view text);
};

// proc/<pid>/schedstat, which describes the main thread only. A kernel
// without scheduler statistics writes "0 0 0" for every task.
struct ProcSchedstat {
    uint64_t runNanoseconds = 0;   // time on a CPU
    uint64_t waitNanoseconds = 0;  // time runnable but waiting for one
    uint64_t runCount = 0;         // times scheduled onto a CPU: its context switches

    bool isKnown() const { return runNanoseconds != 0 || runCount != 0; }
    bool operator==(const ProcSchedstat&) const = default;

    static std::optional<ProcSchedstat> decode(std::string_view text);
};

// proc/loadavg's task figures: "<load1> <load5> <load15> <running>/<threads>
// <last pid>". The last pid is the one most recently handed out in the
// reader's pid namespace.
struct ProcLoadavg {
    uint64_t threads = 0;
    int64_t lastPID = 0;
    bool operator==(const ProcLoadavg&) const = default;

    static std::optional<ProcLoadavg> decode(std::string_view text);
};

}  // namespace orv
