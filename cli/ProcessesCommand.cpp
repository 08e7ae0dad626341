// `orvantine processes`: one pass over the machine's processes, as a table
// or as the exact wire JSON of the readings.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <iostream>
#include <string>
#include <vector>

#include "Sampling/HelperProcessSource.h"
#include "Sampling/ProcessSampler.h"
#include "cli/CommandRegistry.h"
#include "cli/Format.h"
#include "cli/ProcessRatesView.h"
#include "core/JsonCoding.h"
#include "core/LogSink.h"

namespace orv::cli {

namespace {

struct ProcessesOptions {
    bool json = false;
    bool rates = false;
    double intervalSeconds = 1.0;
    bool helper = false;
    bool verbose = false;
};

// Without --verbose the fallback from the helper is silent: its client's
// log lines are dropped, everything else passes through.
class QuietHelperClientSink : public LogSink {
public:
    explicit QuietHelperClientSink(std::shared_ptr<LogSink> next) : next_(std::move(next)) {}
    void write(std::string_view subsystem, std::string_view category, LogLevel level,
               std::string_view message) override {
        if (subsystem == "app.orvantine.sampling" && category == "helper") return;
        next_->write(subsystem, category, level, message);
    }

private:
    std::shared_ptr<LogSink> next_;
};

// The privileged helper's client, falling back to `local`; built with the
// team this command was built for, as the application passes its own.
std::shared_ptr<HelperProcessSource> helperSource(std::shared_ptr<ProcessSampler> local, bool verbose) {
    if (!verbose) LogSink::install(std::make_shared<QuietHelperClientSink>(LogSink::current()));
    std::string_view team = ORVANTINE_TEAM_ID;
    auto source = HelperProcessSource::make(std::move(local),
                                            team.empty() ? std::nullopt : std::optional<std::string>(team));
    source->setEnabled(true);
    return source;
}

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
    // Never destroyed: the process ends after printing, and the kernel drops
    // the sampler's kept /proc descriptors faster than closing them one by one.
    auto sampler = std::shared_ptr<ProcessSampler>(new ProcessSampler(), [](ProcessSampler*) {});
    auto helper = options.helper ? helperSource(sampler, options.verbose) : nullptr;
    ProcessSource& source = helper ? static_cast<ProcessSource&>(*helper) : *sampler;
    if (options.rates) {
        auto interval = Duration::nanoseconds(std::llround(options.intervalSeconds * 1e9));
        runProcessRates(source, ProcessRatesOptions{interval, options.json}, std::cout);
        if (helper) helper->setEnabled(false);
        return;
    }
    std::vector<ProcessReading> readings;
    if (helper) {
        auto answer = helper->sampleWithOrigin().get();
        helper->setEnabled(false);
        readings = std::move(answer.readings);
        if (options.verbose) {
            std::fputs(answer.origin == HelperProcessSource::Origin::helper
                           ? "orvantine: readings from the privileged helper\n"
                           : "orvantine: readings from the local pass (the helper did not answer)\n",
                       stderr);
        }
    } else {
        readings = sampler->sample().get();
        if (options.verbose) std::fputs("orvantine: readings from the local pass\n", stderr);
    }
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
    command->add_flag("--helper", options->helper,
                      "Ask the privileged helper, which reads every process; falls back to the local pass");
    command->add_flag("--verbose", options->verbose, "Say on stderr which source answered");
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
