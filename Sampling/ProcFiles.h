#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orv {

// Parsers of the per-process files under Linux's proc/<pid>/ (see proc(5)).
// Each takes the file's bytes and returns the fields or nothing when the
// text is short or malformed; none does I/O.

struct ProcStat {
    std::string_view command;  // between the first '(' and the last ')'
    char state = 0;
    int32_t parentPID = 0;
    uint64_t userTicks = 0;    // every thread's, exited ones included
    uint64_t systemTicks = 0;
    uint64_t startTicks = 0;   // clock ticks after boot
};

// proc/<pid>/stat. The command may hold spaces and parentheses, so the
// fields are counted from the last ')'.
std::optional<ProcStat> parseProcStat(std::string_view text);

struct ProcStatm {
    uint64_t residentPages = 0;
    uint64_t sharedPages = 0;  // resident file-backed and shared-memory pages
};
std::optional<ProcStatm> parseProcStatm(std::string_view text);

struct ProcIO {
    uint64_t readBytes = 0;   // read_bytes: what reached the block layer
    uint64_t writeBytes = 0;  // write_bytes
};
std::optional<ProcIO> parseProcIO(std::string_view text);

// proc/<pid>/schedstat's third field: how many times the task was scheduled
// onto a CPU, i.e. its context switches. The file describes the main thread.
std::optional<uint64_t> parseSchedstatRunCount(std::string_view text);

}  // namespace orv
