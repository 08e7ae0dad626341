// OrvantineHelper: hands every process's readings to the application, as
// root, over the Mach service (macOS) or its Unix socket (Linux). It serves
// only when built with a team identifier, and exits by itself 30 s after
// start when no client came and 10 s after its last client left.
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Sampling/DevServerPort.h"
#include "Sampling/HelperIdentity.h"
#include "Sampling/ProcessSampler.h"
#include "Sampling/ProcessTablePort.h"
#include "Sampling/TimerQueue.h"
#include "core/Logger.h"
#include "helper/HelperInfo.h"
#include "helper/HelperListener.h"
#include "helper/HelperOptions.h"
#include "helper/HelperService.h"
#include "helper/ListenerDelegate.h"

namespace {

// Kept for the life of the process, never released.
std::shared_ptr<orv::ListenerDelegate> delegate;
std::unique_ptr<orv::HelperListener> listener;

}  // namespace

int main(int argc, char** argv) {
    // Before any thread starts: the process table keeps thousands of
    // descriptors.
    orv::prepareProcessTable();
    orv::Logger log("app.orvantine.helper", "helper");

    std::vector<std::string_view> arguments(argv + 1, argv + argc);
    auto options = orv::HelperOptions::forLaunch(arguments);
    if (!options) {
        std::fprintf(stderr, "OrvantineHelper: %s\n", options.error().c_str());
        return 2;
    }

    auto info = orv::HelperInfo::load();
    auto teamID = orv::HelperInfo::stringValue(info, orv::HelperInfo::teamIDKey);
    auto requirement = orv::HelperIdentity::requirement(orv::HelperIdentity::appBundleID, teamID);
    if (!requirement) {
        log.error("Helper built without a team ID; refusing to serve");
        return 1;
    }

    auto service = std::make_shared<orv::HelperService>(std::make_shared<orv::ProcessSampler>(), info,
                                                        orv::SamplingExecutor::shared(),
                                                        orv::HelperService::defaultEncoder(),
                                                        orv::HelperService::platformNetworkSource());
    // As root it reads every process's descriptors, so every user's ports.
    std::shared_ptr<orv::DevServerPort> ports = orv::makeDevServerPort();
    service->setPortsReader([ports] { return ports->listeningPorts(); });
    orv::ListenerDelegate::Lifetime lifetime;
    lifetime.startupLimit = options->startupLimit;
    lifetime.idleLimit = options->idleLimit;
    // Immediate: nothing is flushed or cleaned up beyond the log line.
    lifetime.exit = [](int status) { ::_exit(status); };
    delegate = std::make_shared<orv::ListenerDelegate>(service, *requirement, orv::TimerQueue::shared(), lifetime);

    listener = orv::makeHelperListener(delegate, *options);
    if (!listener->resume()) return 1;
    delegate->armStartupRule();
    listener->park();
}
