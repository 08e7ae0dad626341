#include "cli/AlertWatch.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "core/AlertEvaluator.h"
#include "core/DecodingError.h"
#include "core/JsonCoding.h"

namespace orv::cli {

namespace {

std::optional<std::string> readText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Writes beside the file and renames over it, so a reader (or a crash)
// never sees half a file.
bool writeAtomically(const std::filesystem::path& path, const std::string& text) {
    std::error_code ignored;
    if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path(), ignored);
    auto temporary = path;
    temporary += ".new";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (!(out << text << "\n")) return false;
    }
    std::error_code error;
    std::filesystem::rename(temporary, path, error);
    return !error;
}

}  // namespace

AppActivityPoint AlertWatch::pointOf(const AppAggregate& app, Date at) {
    return AppActivityPoint{at, app.cpuPercent, app.memoryBytes, app.diskWriteBPS, app.netInBPS, app.netOutBPS};
}

AlertWatch::AlertWatch(Options options, std::ostream& report)
    : options_(std::move(options)), report_(report), settings_(AlertSettings::defaults()) {
    if (auto text = readText(options_.settingsPath)) {
        try {
            settings_ = json::decode<AlertSettings>(*text);
        } catch (const json::DecodingError& e) {
            report_ << fmt::format("orvantine record: the alert settings in {} do not decode ({}); using the defaults, "
                                   "the file is left as it is\n",
                                   options_.settingsPath.string(), e.what());
        }
    } else if (!writeAtomically(options_.settingsPath, json::encode(settings_))) {
        report_ << fmt::format("orvantine record: cannot write the default alert settings to {}\n",
                               options_.settingsPath.string());
    }
    if (auto text = readText(options_.statePath)) {
        try {
            state_ = json::decode<AlertState>(*text);
        } catch (const json::DecodingError& e) {
            report_ << fmt::format("orvantine record: the alert state in {} does not decode ({}); starting without "
                                   "cooldowns\n",
                                   options_.statePath.string(), e.what());
        }
    }
    for (const auto& [rule, setting] : settings_.rules) {
        if (setting.isEnabled) keptSeconds_ = std::max(keptSeconds_, setting.window.toSeconds());
    }
    keptSeconds_ += 10;  // a late sample at the window's start still counts
    if (options_.desktopNotifications) notifier_ = makeDesktopNotifier(options_.busAddress);
}

std::vector<Alert> AlertWatch::observe(const Snapshot& snapshot) {
    if (snapshot.interval == Duration::zero()) return {};
    const Date now = snapshot.at;
    for (const auto& app : snapshot.apps) {
        auto& history = histories_[app.app.id];
        history.app = app.app;
        history.points.push_back(pointOf(app, now));
    }
    // Old points go, and with them apps that have gone quiet.
    for (auto it = histories_.begin(); it != histories_.end();) {
        auto& points = it->second.points;
        auto firstKept = std::find_if(points.begin(), points.end(), [&](const AppActivityPoint& p) {
            return now.secondsSinceReferenceDate - p.at.secondsSinceReferenceDate <= keptSeconds_;
        });
        points.erase(points.begin(), firstKept);
        it = points.empty() ? histories_.erase(it) : std::next(it);
    }
    std::vector<AppActivityHistory> histories;
    histories.reserve(histories_.size());
    for (const auto& [id, history] : histories_) histories.push_back(history);
    // One order whatever the map's: alerts come out the same way every run.
    std::sort(histories.begin(), histories.end(), [](const auto& a, const auto& b) { return a.app.id < b.app.id; });

    AlertContext context{now, std::nullopt, options_.calendar};
    auto alerts = AlertEvaluator::evaluate(settings_, state_, context, histories);
    if (!alerts.empty()) {
        saveState();
        for (const auto& alert : alerts) {
            if (notifier_ && notifier_->notify(alert.title, alert.body)) ++shown_;
        }
    }
    return alerts;
}

void AlertWatch::saveState() {
    if (!writeAtomically(options_.statePath, json::encode(state_))) {
        report_ << fmt::format("orvantine record: cannot write the alert state to {}\n", options_.statePath.string());
    }
}

}  // namespace orv::cli
