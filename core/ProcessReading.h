#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "core/Date.h"
#include "core/Duration.h"
#include "core/RecordHash.h"

namespace orv {

// One raw, cumulative reading of one process; also the helper's wire record.
// When `isComplete` is false the usage figures could not (all) be read and
// those not read are 0.
struct ProcessReading {
    int32_t pid = 0;
    int32_t parentPID = 0;
    uint32_t uid = 0;              // effective user
    std::string name;
    std::optional<std::string> executablePath;
    Date startTime;
    Duration cpuTime;              // user + system since start
    uint64_t footprintBytes = 0;
    uint64_t diskReadBytes = 0;
    uint64_t diskWriteBytes = 0;
    uint64_t energyNJ = 0;         // billed energy since start
    bool isComplete = false;
    uint64_t wakeups = 0;

    int32_t id() const { return pid; }

    friend bool operator==(const ProcessReading&, const ProcessReading&) = default;
};
BOOST_DESCRIBE_STRUCT(ProcessReading, (), (pid, parentPID, uid, name, executablePath, startTime, cpuTime,
                                           footprintBytes, diskReadBytes, diskWriteBytes, energyNJ, isComplete,
                                           wakeups))

}  // namespace orv
