// `orvantine processes`: one pass over the machine's processes, as a table
// or as the exact wire JSON of the readings.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <iostream>
#include <string>
#include <vector>

#include "Sampling/ProcessSampler.h"
#include "cli/CommandRegistry.h"
#include "cli/Format.h"
#include "cli/ProcessRatesView.h"
#include "core/JsonCoding.h"

namespace orv::cli {

namespace {

struct ProcessesOptions {
    bool json = false;
    bool rates = false;
    double intervalSeconds = 1.0;
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
    ProcessSampler sampler;
    if (options.rates) {
        auto interval = Duration::nanoseconds(std::llround(options.intervalSeconds * 1e9));
        runProcessRates(sampler, ProcessRatesOptions{interval, options.json}, std::cout);
        return;
    }
    auto readings = sampler.sample().get();
    if (options.json) {
        std::fputs(json::encode(readings).c_str(), stdout);
        std::fputs("\n", stdout);
    } else {
        printTable(std::move(readings));
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
        ->check(CLI::Range(0.001, 3600.0))
        ->needs(rates);
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
