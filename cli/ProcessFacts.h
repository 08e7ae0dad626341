#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/Date.h"
#include "core/PidTable.h"
#include "core/ProcessReading.h"
#include "core/SharedStrings.h"

namespace orv::cli {

// What the live view knows of a process besides its rates: where it sits in
// the tree, whose it is, what runs and since when.
struct ProcessFacts {
    int32_t parentPID = 0;
    uint32_t uid = 0;
    // Shared with every other process of the same executable; null: none.
    SharedStrings::Shared executablePath;
    Date startTime;
    // The kernel's own threads: the kernel's task (pid 0) and the thread
    // daemon (pid 2) with every thread it starts, none of which runs an
    // executable.
    bool isKernelThread = false;

    friend bool operator==(const ProcessFacts& a, const ProcessFacts& b) {
        auto path = [](const ProcessFacts& f) {
            return f.executablePath ? std::optional<std::string_view>(*f.executablePath) : std::nullopt;
        };
        return a.parentPID == b.parentPID && a.uid == b.uid && path(a) == path(b) && a.startTime == b.startTime &&
               a.isKernelThread == b.isKernelThread;
    }

    // The reading's facts, its path taken from `paths`.
    static ProcessFacts of(const ProcessReading& reading, SharedStrings& paths) {
        ProcessFacts facts;
        facts.parentPID = reading.parentPID;
        facts.uid = reading.uid;
        if (reading.executablePath) facts.executablePath = paths.share(*reading.executablePath);
        facts.startTime = reading.startTime;
        facts.isKernelThread =
            reading.pid == 0 || (!reading.executablePath && (reading.pid == 2 || reading.parentPID == 2));
        return facts;
    }
};

using ProcessFactsByPID = PidTable<ProcessFacts>;

}  // namespace orv::cli
