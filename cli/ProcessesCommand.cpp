// `orvantine processes`: one pass over the machine's processes, as a table
// or as the exact wire JSON of the readings.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <iostream>
#include <string>
#include <vector>

#include "cli/CommandRegistry.h"
#include "cli/Format.h"
#include "cli/ProcessRatesView.h"
#include "cli/SamplingSession.h"
#include "core/JsonCoding.h"

namespace orv::cli {

namespace {

struct ProcessesOptions {
    bool json = false;
    bool rates = false;
    double intervalSeconds = 1.0;
    bool helper = false;
    bool verbose = false;
};

void printTable(std::vector<ProcessReading> readings) {
    // Busiest first: cumulative CPU time is all one pass knows.
    std::stable_sort(readings.begin(), readings.end(),
                     [](const ProcessReading& a, const ProcessReading& b) { return a.cpuTime > b.cpuTime; });
    std::fputs(fmt::format("{:>7} {:>7} {:<10} {:>11} {:>10} {:>10} {:>10}  {}\n", "PID", "PPID", "USER",
                           "CPU TIME", "MEMORY", "READ", "WRITTEN", "NAME").c_str(),
               stdout);
    size_t incomplete = 0;
    for (const auto& r : readings) {
        bool hasDisk = r.isComplete;
        incomplete += !r.isComplete;
        std::string name = r.name;
        if (r.executablePath) name += "  " + *r.executablePath;
        std::fputs(fmt::format("{:>7} {:>7} {:<10} {:>11} {:>10} {:>10} {:>10}  {}\n", r.pid, r.parentPID,
                               fitWidth(userName(r.uid), 10), formatCPUTime(r.cpuTime.toSeconds()),
                               formatBytes(r.footprintBytes), hasDisk ? formatBytes(r.diskReadBytes) : "-",
                               hasDisk ? formatBytes(r.diskWriteBytes) : "-", name)
                       .c_str(),
                   stdout);
    }
    std::fputs(fmt::format("{} processes", readings.size()).c_str(), stdout);
    if (incomplete > 0) {
        std::fputs(fmt::format(", {} partly unreadable without privilege (-)", incomplete).c_str(), stdout);
    }
    std::fputs("\n", stdout);
}

void run(const ProcessesOptions& options) {
    // Without --verbose the fallback from the helper is silent.
    SamplingSession session({.helper = options.helper, .quietHelper = !options.verbose, .onePass = !options.rates});
    if (options.rates) {
        auto interval = Duration::nanoseconds(std::llround(options.intervalSeconds * 1e9));
        runProcessRates(session.processes(), ProcessRatesOptions{interval, options.json}, std::cout);
        session.finish();
        return;
    }
    auto pass = session.readProcesses();
    session.finish();
    if (options.verbose) {
        const char* said = !options.helper ? "orvantine: readings from the local pass\n"
                           : pass.origin == SamplingSession::Origin::helper
                               ? "orvantine: readings from the privileged helper\n"
                               : "orvantine: readings from the local pass (the helper did not answer)\n";
        std::fputs(said, stderr);
    }
    if (options.json) {
        std::fputs(json::encode(pass.readings).c_str(), stdout);
        std::fputs("\n", stdout);
    } else {
        printTable(std::move(pass.readings));
    }
}

CommandRegistration registration(10, [](CLI::App& app) {
    auto options = std::make_shared<ProcessesOptions>();
    auto* command = app.add_subcommand("processes", "One reading of every process: CPU time, memory, disk");
    command->add_flag("--json", options->json, "Print the readings as JSON");
    auto* rates = command->add_flag("--rates", options->rates,
                                    "Rates over an interval instead: CPU %, disk per second, energy impact");
    command->add_option("--interval", options->intervalSeconds, "Seconds between the two passes of --rates")
        ->default_val(1.0)
        ->check(secondsBetween(0.001, 3600.0))
        ->needs(rates);
    command->add_flag("--helper", options->helper,
                      "Ask the privileged helper, which reads every process; falls back to the local pass");
    command->add_flag("--verbose", options->verbose, "Say on stderr which source answered");
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
