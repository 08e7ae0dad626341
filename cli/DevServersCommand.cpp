// `orvantine devservers`: the development servers left running, grouped by
// the project they were started from, busiest first; `--json` writes the
// Project records.
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <thread>

#include "Sampling/DevServerScanner.h"
#include "cli/CommandRegistry.h"
#include "cli/DevServersView.h"
#include "cli/SamplingSession.h"
#include "core/JsonCoding.h"

namespace orv::cli {

namespace {

struct DevServersOptions {
    bool json = false;
    double intervalSeconds = 1.0;
};

void run(const DevServersOptions& options) {
    SamplingSession session;
    DevServerScanner scanner(session.devServerPort(), ProjectLocator("/"), uint32_t(geteuid()), int32_t(getpgrp()));
    // Two looks an interval apart tell which servers are working now.
    auto projects = scanner.scan(session.readProcesses().readings, Date::now());
    if (options.intervalSeconds > 0) {
        std::this_thread::sleep_for(std::chrono::duration<double>(options.intervalSeconds));
        projects = scanner.scan(session.readProcesses().readings, Date::now());
    }
    session.finish();
    if (options.json) {
        std::fputs(json::encode(projects).c_str(), stdout);
        std::fputs("\n", stdout);
    } else {
        std::fputs(formatDevServers(projects, Date::now()).c_str(), stdout);
    }
}

CommandRegistration registration(40, [](CLI::App& app) {
    auto options = std::make_shared<DevServersOptions>();
    auto* command = app.add_subcommand("devservers", "Development servers still listening, by project, busiest first");
    command->add_flag("--json", options->json, "Print the projects as JSON");
    command->add_option("--interval", options->intervalSeconds,
                        "Seconds between the two looks that tell which servers are working (0: one look)")
        ->default_val(1.0)
        ->check(secondsBetween(0.0, 60.0));
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
