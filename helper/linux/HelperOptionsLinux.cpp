// The socket settings this build was configured with.
#include "HelperProtocol/HelperBuildConfig.h"
#include "helper/HelperOptions.h"

namespace orv {

HelperOptions HelperOptions::defaults() {
    HelperOptions options;
    options.socketPath = std::string(HelperBuildConfig::socketPath);
    options.admittedGroup = std::string(HelperBuildConfig::admittedGroup);
    return options;
}

Result<HelperOptions, std::string> HelperOptions::forLaunch(const std::vector<std::string_view>& arguments) {
    return parse(arguments);
}

}  // namespace orv
