#include "Sampling/ProcessNetworkSampler.h"

#include <unistd.h>

namespace orv {

ProcessNetworkSampler::ProcessNetworkSampler(ProcessNetworkPort port) : port_(std::move(port)) {
    if (!port_.monitor) port_.monitor = std::make_unique<NetworkStatisticsMonitor>(std::nullopt);
}

std::future<std::optional<NetworkBytesByPID>> ProcessNetworkSampler::cumulativeBytes() {
    auto answer = std::make_shared<std::promise<std::optional<NetworkBytesByPID>>>();
    auto future = answer->get_future();
    port_.monitor->cumulativeBytes([answer](std::optional<NetworkBytesByPID> totals) {
        answer->set_value(std::move(totals));
    });
    return future;
}

uint32_t ProcessNetworkSampler::ownerUID() const { return uint32_t(::getuid()); }

std::optional<uint32_t> ProcessNetworkSampler::coveredUID() const {
    if (port_.coversEveryUser) return std::nullopt;
    return ownerUID();
}

void ProcessNetworkSampler::observe(const std::vector<ProcessReading>& readings) {
    if (port_.observe) port_.observe(readings);
}

}  // namespace orv
