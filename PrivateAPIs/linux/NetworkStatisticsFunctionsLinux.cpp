#include "PrivateAPIs/NetworkStatisticsMonitor.h"

namespace orv {

// The framework exists only on macOS, so its path never opens here and no
// symbols are ever resolved: the socket-diagnostics table stands in for it.
std::optional<NetworkStatisticsMonitor::Functions> NetworkStatisticsMonitor::functionsFrom(const Symbols&) {
    return std::nullopt;
}

}  // namespace orv
