#include "Sampling/ProcFiles.h"

#include <array>

#include "core/TextDecoding.h"

namespace orv {

namespace {

using TextDecoding::parseNumber;
using TextDecoding::splitFields;

// Positions in proc/<pid>/stat counted from 0 at the state field, the first
// after the command (proc(5) numbers them from 1 at pid: state is 3).
enum StatField : size_t {
    kState = 0,        // (3) state
    kParentPID = 1,    // (4) ppid
    kProcessGroup = 2, // (5) pgrp
    kSession = 3,      // (6) session
    kFlags = 6,        // (9) flags
    kUserTime = 11,    // (14) utime
    kSystemTime = 12,  // (15) stime
    kThreadCount = 17, // (20) num_threads
    kStartTime = 19,   // (22) starttime
    kStatFieldsRead,
};

// proc/<pid>/statm, in pages: size resident shared text lib data dt.
enum StatmField : size_t { kSize, kResident, kShared, kStatmFieldsRead };

// proc/<pid>/schedstat: run time, wait time (ns), and timeslices run.
enum SchedstatField : size_t { kRunTime, kWaitTime, kTimeslices, kSchedstatFieldsRead };

// proc/loadavg: load1 load5 load15 running/threads lastpid.
enum LoadavgField : size_t { kLoad1, kLoad5, kLoad15, kTasks, kLastPID, kLoadavgFieldsRead };

// Stores the whole of `field` as a number into `out`; false when it is not one.
template <class T>
bool number(std::string_view field, T& out) {
    auto value = parseNumber<T>(field);
    if (value) out = *value;
    return value.has_value();
}

}  // namespace

std::optional<ProcStat> ProcStat::decode(std::string_view text) {
    auto open = text.find('(');
    auto close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
    ProcStat stat;
    stat.command = text.substr(open + 1, close - open - 1);
    std::array<std::string_view, kStatFieldsRead> fields;
    if (splitFields(text.substr(close + 1), fields) < kStatFieldsRead) return std::nullopt;
    if (fields[kState].size() != 1) return std::nullopt;
    stat.state = fields[kState][0];
    if (!number(fields[kParentPID], stat.parentPID) || !number(fields[kProcessGroup], stat.processGroup) ||
        !number(fields[kSession], stat.session) || !number(fields[kFlags], stat.flags) ||
        !number(fields[kUserTime], stat.userTicks) || !number(fields[kSystemTime], stat.systemTicks) ||
        !number(fields[kThreadCount], stat.threadCount) || !number(fields[kStartTime], stat.startTicks)) {
        return std::nullopt;
    }
    return stat;
}

std::optional<ProcStatm> ProcStatm::decode(std::string_view text) {
    std::array<std::string_view, kStatmFieldsRead> fields;
    if (splitFields(text, fields) < kStatmFieldsRead) return std::nullopt;
    ProcStatm statm;
    if (!number(fields[kResident], statm.residentPages) || !number(fields[kShared], statm.sharedPages)) {
        return std::nullopt;
    }
    return statm;
}

std::optional<ProcIO> ProcIO::decode(std::string_view text) {
    ProcIO io;
    bool sawRead = false, sawWrite = false;
    for (std::string_view line : TextDecoding::Lines(text)) {
        auto pair = TextDecoding::splitKeyValue(line);
        if (!pair) continue;
        auto [key, value] = *pair;
        if (key == "read_bytes") sawRead = number(value, io.readBytes);
        else if (key == "write_bytes") sawWrite = number(value, io.writeBytes);
    }
    if (!sawRead || !sawWrite) return std::nullopt;
    return io;
}

std::optional<ProcSchedstat> ProcSchedstat::decode(std::string_view text) {
    std::array<std::string_view, kSchedstatFieldsRead> fields;
    ProcSchedstat sched;
    if (splitFields(text, fields) < kSchedstatFieldsRead || !number(fields[kRunTime], sched.runNanoseconds) ||
        !number(fields[kWaitTime], sched.waitNanoseconds) || !number(fields[kTimeslices], sched.runCount)) {
        return std::nullopt;
    }
    return sched;
}

std::optional<ProcLoadavg> ProcLoadavg::decode(std::string_view text) {
    std::array<std::string_view, kLoadavgFieldsRead> fields;
    if (splitFields(text, fields) < kLoadavgFieldsRead) return std::nullopt;
    auto slash = fields[kTasks].find('/');
    if (slash == std::string_view::npos) return std::nullopt;
    ProcLoadavg loadavg;
    if (!number(fields[kTasks].substr(slash + 1), loadavg.threads) || !number(fields[kLastPID], loadavg.lastPID)) {
        return std::nullopt;
    }
    return loadavg;
}

}  // namespace orv
