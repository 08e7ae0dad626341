#include <unistd.h>

#include <memory>

#include "Sampling/NetworkPort.h"
#include "Sampling/ProcessNetworkSampler.h"
#include "Sampling/linux/SocketDiagStatistics.h"

namespace orv {

ProcessNetworkPort makeProcessNetworkPort(const std::filesystem::path& root) {
    SocketDiagStatistics::Options options;
    options.root = root;
    options.everyUser = SocketDiagStatistics::canReadEveryUser(root);
    options.uid = uint32_t(::getuid());
    // The rtnetlink socket is opened in this process's network namespace,
    // the one its socket-diagnostics dumps describe. Only the dump worker
    // calls it.
    std::shared_ptr<NetworkPort> interfaces = makeNetworkPort(root);
    options.interfaceCounters = [interfaces] { return interfaces->readEveryInterface(); };
    auto statistics = SocketDiagStatistics::make(options);
    ProcessNetworkPort port;
    port.monitor = std::make_unique<NetworkStatisticsMonitor>(statistics->functions());
    port.observe = [statistics](const std::vector<ProcessReading>& readings) { statistics->observe(readings); };
    port.coversEveryUser = options.everyUser;
    return port;
}

}  // namespace orv
