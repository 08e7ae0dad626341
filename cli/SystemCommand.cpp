#include <cmath>
#include <iostream>

#include "cli/CommandRegistry.h"
#include "cli/SamplingSession.h"
#include "cli/SystemView.h"

namespace {

orv::cli::CommandRegistration registration(20, [](CLI::App& app) {
    auto* cmd = app.add_subcommand("system", "CPU, memory, disk, network, battery, GPU, thermal and sensor figures over one interval");
    auto json = std::make_shared<bool>(false);
    auto interval = std::make_shared<double>(1.0);
    cmd->add_flag("--json", *json, "one SystemSample record as JSON");
    cmd->add_option("--interval", *interval, "seconds between the two reads the rates come from")
        ->check(orv::cli::secondsBetween(0.05, 3600.0));
    cmd->callback([json, interval] {
        orv::cli::SystemOptions options;
        options.json = *json;
        options.interval = orv::Duration::nanoseconds(int64_t(std::llround(*interval * 1e9)));
        orv::cli::SamplingSession session;
        auto report = orv::cli::makeSystemReport(session);
        int status = orv::cli::runSystem(report, options, std::cout, std::cerr);
        session.finish();
        if (status != 0) throw CLI::RuntimeError(status);
    });
});

}  // namespace
