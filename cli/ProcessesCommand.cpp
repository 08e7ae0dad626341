// `orvantine processes`: one pass over the machine's processes, as a table
// or as the exact wire JSON of the readings.
#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <string>
#include <vector>

#include "Sampling/ProcessSampler.h"
#include "cli/CommandRegistry.h"
#include "cli/Format.h"
#include "core/JsonCoding.h"

namespace orv::cli {

namespace {

struct ProcessesOptions {
    bool json = false;
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
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
