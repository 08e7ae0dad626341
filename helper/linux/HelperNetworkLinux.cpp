#include "Sampling/ProcessNetworkSampler.h"
#include "helper/HelperService.h"

namespace orv {

// Socket diagnostics and every process's fd folder, read with the helper's
// capabilities, so the bytes cover every user's processes.
std::shared_ptr<ProcessNetworkSource> HelperService::platformNetworkSource() {
    return std::make_shared<ProcessNetworkSampler>();
}

}  // namespace orv
