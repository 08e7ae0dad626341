#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Date.h"
#include "core/PidTable.h"
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

using ProcessFactsByPID = PidTable<ProcessFacts>;

}  // namespace orv::cli
