#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "PrivateAPIs/NetworkStatisticsMonitor.h"
#include "Sampling/ProcessNetworkSource.h"

namespace orv {

// The platform's source of socket byte counts behind a monitor: the
// network-statistics framework on macOS, socket diagnostics elsewhere.
struct ProcessNetworkPort {
    std::unique_ptr<NetworkStatisticsMonitor> monitor;
    // Hands the pass's readings to the source (nothing to do on macOS).
    std::function<void(const std::vector<ProcessReading>&)> observe;
    // Whether the source sees every user's sockets and their owners.
    bool coversEveryUser = false;
};

// This machine's port; Linux reads below `root`.
ProcessNetworkPort makeProcessNetworkPort(const std::filesystem::path& root = "/");

// The process's own per-process network accounting: a monitor created with
// the sampler and owned by it, so counts start when the sampler does.
class ProcessNetworkSampler : public ProcessNetworkSource {
public:
    ProcessNetworkSampler() : ProcessNetworkSampler(makeProcessNetworkPort()) {}
    explicit ProcessNetworkSampler(ProcessNetworkPort port);

    std::future<std::optional<NetworkBytesByPID>> cumulativeBytes() override;
    uint32_t ownerUID() const override;
    std::optional<uint32_t> coveredUID() const override;
    void observe(const std::vector<ProcessReading>& readings) override;

    bool isAvailable() const { return port_.monitor->isAvailable(); }
    NetworkStatisticsMonitor& monitor() { return *port_.monitor; }

private:
    ProcessNetworkPort port_;
};

}  // namespace orv
