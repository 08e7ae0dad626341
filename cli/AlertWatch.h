#pragma once

#include <deque>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

#include "cli/DesktopNotifier.h"
#include "core/Alert.h"
#include "core/AlertCalendar.h"
#include "core/AlertSettings.h"
#include "core/AlertState.h"
#include "core/AppActivityHistory.h"
#include "core/Snapshot.h"

namespace orv::cli {

// The recorder's alerting: keeps each app's recent activity (as long as the
// longest enabled window), judges it on every snapshot, remembers when each
// alert fired in the state file so a cooldown survives a restart, and shows
// each alert as a desktop notification where one can be shown.
//
// The settings file is read once. A missing file gets the defaults written
// to it, for the user to edit; a file that does not decode is reported with
// the decoder's message and left as it is, and the defaults are used.
class AlertWatch {
public:
    struct Options {
        std::filesystem::path settingsPath;
        std::filesystem::path statePath;
        bool desktopNotifications = true;
        std::string busAddress;  // empty: the session bus
        AlertCalendar calendar = AlertCalendar::current();
    };

    // Problems with the files are reported on `report`.
    AlertWatch(Options options, std::ostream& report);

    // Adds the snapshot's apps and returns the alerts raised now.
    std::vector<Alert> observe(const Snapshot& snapshot);

    const AlertSettings& settings() const { return settings_; }
    const AlertState& state() const { return state_; }
    size_t notificationsShown() const { return shown_; }

    static AppActivityPoint pointOf(const AppAggregate& app, Date at);

private:
    void saveState();

    Options options_;
    std::ostream& report_;
    AlertSettings settings_;
    AlertState state_;
    std::unordered_map<std::string, AppActivityHistory> histories_;
    std::unique_ptr<DesktopNotifier> notifier_;
    double keptSeconds_ = 0;
    size_t shown_ = 0;
};

}  // namespace orv::cli
