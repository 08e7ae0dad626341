#include <unistd.h>

#include "Sampling/ProcessNetworkSampler.h"
#include "Sampling/TcpSegmentCounters.h"
#include "Sampling/linux/SocketDiagStatistics.h"
#include "core/FileReading.h"

namespace orv {

ProcessNetworkPort makeProcessNetworkPort(const std::filesystem::path& root) {
    SocketDiagStatistics::Options options;
    options.root = root;
    options.everyUser = SocketDiagStatistics::canReadEveryUser(root);
    options.uid = uint32_t(::getuid());
    // proc/net is this process's network namespace, the one its
    // socket-diagnostics dumps describe.
    options.tcpSegments = [snmp = root / "proc/net/snmp"]() -> std::optional<TcpSegmentCounters> {
        auto text = FileReading::readSmallFile(snmp);
        if (!text) return std::nullopt;
        return TcpSegmentCounters::decode(*text);
    };
    auto statistics = SocketDiagStatistics::make(options);
    ProcessNetworkPort port;
    port.monitor = std::make_unique<NetworkStatisticsMonitor>(statistics->functions());
    port.observe = [statistics](const std::vector<ProcessReading>& readings) { statistics->observe(readings); };
    port.coversEveryUser = options.everyUser;
    return port;
}

}  // namespace orv
