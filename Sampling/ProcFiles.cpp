#include "Sampling/ProcFiles.h"

#include <charconv>

namespace orv {

namespace {

// Positions in proc/<pid>/stat counted from 0 at the state field, the first
// after the command (proc(5) numbers them from 1 at pid: state is 3).
enum StatField : int {
    kState = 0,        // (3) state
    kParentPID = 1,    // (4) ppid
    kFlags = 6,        // (9) flags
    kUserTime = 11,    // (14) utime
    kSystemTime = 12,  // (15) stime
    kThreadCount = 17, // (20) num_threads
    kStartTime = 19,   // (22) starttime
};

bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\t'; }

// Splits `text` on white space into at most `N` fields; returns how many.
template <size_t N>
size_t splitFields(std::string_view text, std::string_view (&fields)[N]) {
    size_t count = 0, i = 0;
    while (count < N) {
        while (i < text.size() && isSpace(text[i])) ++i;
        if (i >= text.size()) break;
        size_t start = i;
        while (i < text.size() && !isSpace(text[i])) ++i;
        fields[count++] = text.substr(start, i - start);
    }
    return count;
}

template <class T>
bool number(std::string_view field, T& out) {
    auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), out);
    return error == std::errc() && end == field.data() + field.size();
}

}  // namespace

std::optional<ProcStat> parseProcStat(std::string_view text) {
    auto open = text.find('(');
    auto close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
    ProcStat stat;
    stat.command = text.substr(open + 1, close - open - 1);
    std::string_view fields[kStartTime + 1];
    if (splitFields(text.substr(close + 1), fields) <= kStartTime) return std::nullopt;
    if (fields[kState].size() != 1) return std::nullopt;
    stat.state = fields[kState][0];
    if (!number(fields[kParentPID], stat.parentPID) || !number(fields[kFlags], stat.flags) ||
        !number(fields[kUserTime], stat.userTicks) || !number(fields[kSystemTime], stat.systemTicks) ||
        !number(fields[kThreadCount], stat.threadCount) || !number(fields[kStartTime], stat.startTicks)) {
        return std::nullopt;
    }
    return stat;
}

std::optional<ProcStatm> parseProcStatm(std::string_view text) {
    // size resident shared text lib data dt, in pages
    std::string_view fields[3];
    if (splitFields(text, fields) < 3) return std::nullopt;
    ProcStatm statm;
    if (!number(fields[1], statm.residentPages) || !number(fields[2], statm.sharedPages)) return std::nullopt;
    return statm;
}

std::optional<ProcIO> parseProcIO(std::string_view text) {
    ProcIO io;
    bool sawRead = false, sawWrite = false;
    while (!text.empty()) {
        auto end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
        auto colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        std::string_view key = line.substr(0, colon), value = line.substr(colon + 1);
        while (!value.empty() && value.front() == ' ') value.remove_prefix(1);
        if (key == "read_bytes") sawRead = number(value, io.readBytes);
        else if (key == "write_bytes") sawWrite = number(value, io.writeBytes);
    }
    if (!sawRead || !sawWrite) return std::nullopt;
    return io;
}

std::optional<ProcSchedstat> parseProcSchedstat(std::string_view text) {
    std::string_view fields[3];
    ProcSchedstat sched;
    if (splitFields(text, fields) < 3 || !number(fields[0], sched.runNanoseconds) ||
        !number(fields[1], sched.waitNanoseconds) || !number(fields[2], sched.runCount)) {
        return std::nullopt;
    }
    return sched;
}

std::optional<ProcLoadavg> parseProcLoadavg(std::string_view text) {
    std::string_view fields[5];
    if (splitFields(text, fields) < 5) return std::nullopt;
    auto slash = fields[3].find('/');
    if (slash == std::string_view::npos) return std::nullopt;
    ProcLoadavg loadavg;
    if (!number(fields[3].substr(slash + 1), loadavg.threads) || !number(fields[4], loadavg.lastPID)) {
        return std::nullopt;
    }
    return loadavg;
}

}  // namespace orv
