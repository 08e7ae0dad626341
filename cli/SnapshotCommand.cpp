// `orvantine snapshot`: whole sampling passes, as a readable summary or as
// JSON lines (one Snapshot record per line) for scripts.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <thread>

#include "cli/CommandLogSink.h"
#include "cli/CommandRegistry.h"
#include "cli/SamplingSession.h"
#include "cli/SnapshotView.h"
#include "cli/StrainTracker.h"

namespace orv::cli {

namespace {

constexpr size_t defaultTextTop = 10;

void emit(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void run(const SnapshotOptions& options) {
    CommandLogSink::Scope log;
    SamplingSession session({.helper = options.helper});
    auto builder = session.snapshotBuilder();
    // The first pass is the baseline every rate is measured from; each
    // printed snapshot then covers one interval. Deadlines are kept on one
    // schedule so that slow passes do not make the cadence drift.
    builder->build();
    StrainTracker strain;
    auto interval = std::chrono::nanoseconds(options.interval.toNanoseconds());
    auto next = std::chrono::steady_clock::now();
    for (int64_t printed = 0; options.count == 0 || printed < options.count; ++printed) {
        next += interval;
        std::this_thread::sleep_until(next);
        Snapshot snapshot = builder->build();
        auto reason = strain.observe(snapshot);
        if (options.json) {
            std::string line = snapshotJSONLine(snapshot, options.top);
            line.push_back('\n');  // in place: the line is large at thousands of processes
            emit(line);
        } else {
            std::ostringstream text;
            if (printed > 0) text << "\n";
            printSnapshot(snapshot, options.top.value_or(defaultTextTop), text, reason);
            emit(text.str());
        }
        if (std::chrono::steady_clock::now() > next + interval) next = std::chrono::steady_clock::now();
    }
    // The process ends next: the process sampler's thousands of kept /proc
    // descriptors are left for the kernel to drop at exit, since closing
    // them one by one costs more CPU than a whole pass.
    session.finish();
}

CommandRegistration registration(5, [](CLI::App& app) {
    auto options = std::make_shared<SnapshotOptions>();
    auto seconds = std::make_shared<double>(1.0);
    auto top = std::make_shared<size_t>(defaultTextTop);
    auto* command = app.add_subcommand("snapshot", "Whole sampling passes: system figures, apps and processes");
    command->add_flag("--json", options->json, "One Snapshot record per line, as JSON");
    command->add_option("--interval", *seconds, "Seconds each snapshot's rates are measured over")
        ->default_val(1.0)
        ->check(secondsBetween(0.05, 3600.0));
    command->add_option("--count", options->count, "How many snapshots to print; 0 keeps going")
        ->default_val(1)
        ->check(CLI::Range(int64_t(0), int64_t(1) << 40));
    command->add_flag("--helper", options->helper, "Read processes through the privileged helper when it answers");
    auto* topOption = command->add_option("--top", *top, "Apps and processes shown (text: 10; JSON: all)")
                          ->check(CLI::Range(size_t(1), size_t(1) << 30));
    command->callback([options, seconds, top, topOption] {
        options->interval = Duration::nanoseconds(int64_t(std::llround(*seconds * 1e9)));
        if (topOption->count() > 0) options->top = *top;
        run(*options);
    });
});

}  // namespace

}  // namespace orv::cli
