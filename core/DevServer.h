#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "core/Date.h"
#include "core/DevRuntime.h"
#include "core/Duration.h"
#include "core/ProjectActivity.h"
#include "core/RecordHash.h"
#include "core/TerminationTarget.h"

namespace orv {

// One running development server: a process listening on ports.
struct DevServer {
    int32_t pid = 0;
    std::string name;
    std::string command;  // its command line
    DevRuntime runtime = DevRuntime::other;
    std::vector<uint16_t> ports;
    uint64_t memoryBytes = 0;
    Date startedAt;
    Duration cpuTime;  // processor time used since start
    ProjectActivity activity;
    TerminationTarget stopTarget;  // what to terminate to stop it

    // Its identity in lists.
    int32_t id() const { return pid; }

    friend bool operator==(const DevServer&, const DevServer&) = default;
};
BOOST_DESCRIBE_STRUCT(DevServer, (),
                      (pid, name, command, runtime, ports, memoryBytes, startedAt, cpuTime, activity, stopTarget))

}  // namespace orv
