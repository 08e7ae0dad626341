#include <cmath>
#include <iostream>

#include "cli/CommandRegistry.h"
#include "cli/SystemView.h"

namespace {

orv::cli::CommandRegistration registration(20, [](CLI::App& app) {
    auto* cmd = app.add_subcommand("system", "CPU, memory, disk, network, battery, GPU, thermal and sensor figures over one interval");
    auto json = std::make_shared<bool>(false);
    auto interval = std::make_shared<double>(1.0);
    cmd->add_flag("--json", *json, "one JSON object with a key per section");
    cmd->add_option("--interval", *interval, "seconds between the two reads the rates come from")
        ->check(CLI::Range(0.05, 3600.0));
    cmd->callback([json, interval] {
        orv::cli::SystemOptions options;
        options.json = *json;
        options.interval = orv::Duration::nanoseconds(int64_t(std::llround(*interval * 1e9)));
        auto sections = orv::cli::makeSystemSections();
        int status = orv::cli::runSystem(sections, options, std::cout, std::cerr);
        if (status != 0) throw CLI::RuntimeError(status);
    });
});

}  // namespace
