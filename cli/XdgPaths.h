#pragma once

#include <filesystem>

namespace orv::cli {

// Where the command keeps its files, by the XDG base-directory rules: a
// variable that is unset, empty or relative falls back to the default
// below $HOME.
struct XdgPaths {
    XdgPaths() = delete;
    static std::filesystem::path stateHome();   // $XDG_STATE_HOME or ~/.local/state
    static std::filesystem::path configHome();  // $XDG_CONFIG_HOME or ~/.config

    // $XDG_STATE_HOME/orvantine/history.sqlite
    static std::filesystem::path historyDatabase();
    // $XDG_CONFIG_HOME/orvantine/alerts.json
    static std::filesystem::path alertSettings();
    // $XDG_STATE_HOME/orvantine/alert-state.json
    static std::filesystem::path alertState();
};

}  // namespace orv::cli
