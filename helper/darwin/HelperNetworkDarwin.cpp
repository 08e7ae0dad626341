#include "helper/HelperService.h"

namespace orv {

// The application runs the network-statistics framework itself.
std::shared_ptr<ProcessNetworkSource> HelperService::platformNetworkSource() { return nullptr; }

}  // namespace orv
