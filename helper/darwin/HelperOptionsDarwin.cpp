// launchd names the Mach service; there is no socket to configure.
#include "helper/HelperOptions.h"

namespace orv {

HelperOptions HelperOptions::defaults() { return HelperOptions{}; }

}  // namespace orv
