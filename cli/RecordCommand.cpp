// `orvantine record`: the recorder, in the foreground (or as the systemd user
// unit orvantine-record.service). Samples the machine every interval, keeps
// the history file, and raises alerts.
#include <csignal>
#include <chrono>
#include <cmath>
#include <fmt/format.h>
#include <iostream>
#include <thread>

#include "cli/AlertWatch.h"
#include "cli/CommandLogSink.h"
#include "cli/CommandRegistry.h"
#include "cli/Format.h"
#include "cli/HistoryRecorder.h"
#include "cli/SamplingSession.h"
#include "cli/XdgPaths.h"

namespace orv::cli {

namespace {

struct RecordOptions {
    double intervalSeconds = 1.0;
    std::string database;
    std::string settings;
    std::string state;
    bool alerts = true;
    bool notify = true;
};

volatile std::sig_atomic_t stopRequested = 0;

void requestStop(int) { stopRequested = 1; }

void run(const RecordOptions& options) {
    auto path = options.database.empty() ? XdgPaths::historyDatabase() : std::filesystem::path(options.database);
    // The lock first: a second recorder is refused before it samples.
    HistoryStore store(path, HistoryStore::Access::record);
    HistoryRecorder recorder(store);
    std::optional<AlertWatch> alerts;
    if (options.alerts) {
        AlertWatch::Options alertOptions;
        alertOptions.settingsPath = options.settings.empty() ? XdgPaths::alertSettings() : std::filesystem::path(options.settings);
        alertOptions.statePath = options.state.empty() ? XdgPaths::alertState() : std::filesystem::path(options.state);
        alertOptions.desktopNotifications = options.notify;
        alerts.emplace(alertOptions, std::cerr);
    }

    std::signal(SIGINT, requestStop);
    std::signal(SIGTERM, requestStop);
    CommandLogSink::Scope log;
    SamplingSession session;
    auto builder = session.snapshotBuilder();
    std::cerr << fmt::format("orvantine record: keeping history in {}\n", path.string());
    builder->build();  // the baseline
    auto interval = std::chrono::nanoseconds(std::llround(options.intervalSeconds * 1e9));
    auto next = std::chrono::steady_clock::now();
    while (!stopRequested) {
        next += interval;
        // Short sleeps, so that a stop request is seen within 0.1 s.
        while (!stopRequested && std::chrono::steady_clock::now() < next) {
            std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(
                next - std::chrono::steady_clock::now(), std::chrono::milliseconds(100)));
        }
        if (stopRequested) break;
        Snapshot snapshot = builder->build();
        recorder.observe(snapshot);
        if (alerts) {
            for (const auto& alert : alerts->observe(snapshot)) {
                std::cout << fmt::format("{}  {}: {}\n", formatLocalClock(alert.firedAt), alert.title, alert.body)
                          << std::flush;
            }
        }
        if (std::chrono::steady_clock::now() > next + interval) next = std::chrono::steady_clock::now();
    }
    recorder.flush();
    std::cerr << "orvantine record: stopped; the last minute is written\n";
    session.finish();
}

CommandRegistration registration(7, [](CLI::App& app) {
    auto options = std::make_shared<RecordOptions>();
    auto* command = app.add_subcommand("record", "Keep the history file and raise alerts, until stopped");
    command->add_option("--interval", options->intervalSeconds, "Seconds between samples")
        ->default_val(1.0)
        ->check(secondsBetween(0.2, 60.0));
    command->add_option("--database", options->database, "The history file (default $XDG_STATE_HOME/orvantine/history.sqlite)");
    command->add_option("--alert-settings", options->settings, "Alert settings (default $XDG_CONFIG_HOME/orvantine/alerts.json)");
    command->add_option("--alert-state", options->state, "When each alert last fired (default $XDG_STATE_HOME/orvantine/alert-state.json)");
    command->add_flag("!--no-alerts", options->alerts, "Keep history only");
    command->add_flag("!--no-notify", options->notify, "Print alerts without desktop notifications");
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
