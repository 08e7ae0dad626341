#include "Sampling/ProcessNetworkSampler.h"

namespace orv {

// The framework reports every process's sockets to any user.
ProcessNetworkPort makeProcessNetworkPort(const std::filesystem::path&) {
    ProcessNetworkPort port;
    port.monitor = std::make_unique<NetworkStatisticsMonitor>();
    port.coversEveryUser = true;
    return port;
}

}  // namespace orv
