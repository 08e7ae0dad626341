#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "Sampling/DevServerMath.h"
#include "Sampling/DevServerPort.h"
#include "Sampling/ProjectLocator.h"
#include "core/Date.h"
#include "core/ProcessReading.h"
#include "core/Project.h"

namespace orv {

// Finds the developer servers among the processes that listen on TCP ports
// and groups them by project, busiest first. Keeps each server's CPU time
// across scans, so that a scanner kept alive (as a live view keeps it)
// tells how many minutes a server has been idle; a fresh one has seen
// every server for no time at all.
class DevServerScanner {
public:
    DevServerScanner(std::unique_ptr<DevServerPort> port, ProjectLocator locator, uint32_t viewerUid,
                     int32_t ownProcessGroup);

    // The projects of the listening processes among `readings` (one per
    // live process). Throws SamplingError when the sockets cannot be listed.
    std::vector<Project> scan(std::span<const ProcessReading> readings, Date now);

    // The listening sockets the last scan saw, developer servers or not.
    const std::vector<ListeningPort>& lastPorts() const { return ports_; }

private:
    struct Instance {
        Date firstSeen;
        std::optional<Date> lastWorking;
        std::vector<DevServerMath::CPUObservation> window;
    };

    ProjectActivity observe(const ProcessReading& reading, Date now, std::map<std::pair<int32_t, double>, Instance>& next);

    std::unique_ptr<DevServerPort> port_;
    ProjectLocator locator_;
    uint32_t viewerUid_;
    int32_t ownProcessGroup_;
    std::vector<ListeningPort> ports_;
    std::map<std::pair<int32_t, double>, Instance> instances_;  // by (pid, start)
};

}  // namespace orv
