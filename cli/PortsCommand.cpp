// `orvantine ports`: every listening TCP socket with the process that owns
// it; with --helper, every user's, read by the privileged helper.
#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <unordered_map>

#include "cli/CommandRegistry.h"
#include "cli/Format.h"
#include "cli/SamplingSession.h"
#include "core/JsonCoding.h"

namespace orv::cli {

namespace {

struct PortsOptions {
    bool json = false;
    bool helper = false;
};

void run(const PortsOptions& options) {
    SamplingSession session({.helper = options.helper, .quietHelper = true});
    auto ports = session.devServerPort()->listeningPorts();
    if (options.json) {
        session.finish();
        std::fputs((json::encode(ports) + "\n").c_str(), stdout);
        return;
    }
    std::unordered_map<int32_t, std::string> names;
    for (const auto& r : session.readProcesses().readings) names.emplace(r.pid, r.name);
    session.finish();
    std::stable_sort(ports.begin(), ports.end(), [](const auto& a, const auto& b) { return a.port < b.port; });
    std::fputs(fmt::format("{:>6} {:<5} {:<16} {:>7} {:<16} {}\n", "PORT", "", "ADDRESS", "PID", "NAME", "DIRECTORY")
                   .c_str(),
               stdout);
    for (const auto& p : ports) {
        auto name = names.find(p.pid);
        std::fputs(fmt::format("{:>6} {:<5} {:<16} {:>7} {:<16} {}\n", p.port,
                               p.transport == ListeningPort::Transport::tcp6 ? "tcp6" : "tcp4", fitWidth(p.address, 16),
                               p.pid, fitWidth(name != names.end() ? name->second : "-", 16),
                               p.workingDirectory.value_or("-"))
                       .c_str(),
                   stdout);
    }
}

CommandRegistration registration(42, [](CLI::App& app) {
    auto options = std::make_shared<PortsOptions>();
    auto* command = app.add_subcommand("ports", "Listening TCP ports and the processes that own them");
    command->add_flag("--json", options->json, "Print ListeningPort records as JSON");
    command->add_flag("--helper", options->helper,
                      "Ask the privileged helper, which sees every user's sockets (Linux); falls back to this user's");
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
