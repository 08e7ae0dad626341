#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/Date.h"
#include "core/ProcessReading.h"

namespace orv::cli {

// What the live view knows of a process besides its rates: where it sits in
// the tree, whose it is, what runs and since when.
struct ProcessFacts {
    int32_t parentPID = 0;
    uint32_t uid = 0;
    std::optional<std::string> executablePath;
    Date startTime;
    // The kernel's own threads: the kernel's task (pid 0) and the thread
    // daemon (pid 2) with every thread it starts, none of which runs an
    // executable.
    bool isKernelThread = false;

    friend bool operator==(const ProcessFacts&, const ProcessFacts&) = default;

    static ProcessFacts of(const ProcessReading& reading) {
        ProcessFacts facts;
        facts.parentPID = reading.parentPID;
        facts.uid = reading.uid;
        facts.executablePath = reading.executablePath;
        facts.startTime = reading.startTime;
        facts.isKernelThread =
            reading.pid == 0 || (!reading.executablePath && (reading.pid == 2 || reading.parentPID == 2));
        return facts;
    }
};

// One pass's facts by pid, in one block by ascending pid: a new table is
// made every pass, and a node per process would leave the heap in pieces.
class ProcessFactsByPID {
public:
    using value_type = std::pair<int32_t, ProcessFacts>;
    using const_iterator = std::vector<value_type>::const_iterator;

    ProcessFactsByPID() = default;
    // From entries in any order; of two for one pid, the first stands.
    explicit ProcessFactsByPID(std::vector<value_type> entries);

    const_iterator find(int32_t pid) const;
    bool contains(int32_t pid) const { return find(pid) != end(); }
    // The pid's facts, made empty when it has none yet.
    ProcessFacts& operator[](int32_t pid);

    const_iterator begin() const { return entries_.begin(); }
    const_iterator end() const { return entries_.end(); }
    size_t size() const { return entries_.size(); }
    bool empty() const { return entries_.empty(); }

private:
    std::vector<value_type> entries_;
};

}  // namespace orv::cli
