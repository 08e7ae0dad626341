// launchd names the Mach service; there is no socket to configure, and the
// options (the Linux service's and the tests') are not read.
#include "helper/HelperOptions.h"

namespace orv {

HelperOptions HelperOptions::defaults() { return HelperOptions{}; }

// launchd starts the helper as root; whatever arguments reach it are not
// its owner's to choose, so none is read.
Result<HelperOptions, std::string> HelperOptions::forLaunch(const std::vector<std::string_view>&) {
    return defaults();
}

}  // namespace orv
