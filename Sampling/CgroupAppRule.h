#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orv::CgroupAppRule {

// Which owner a Linux process's control group names. Desktops start each
// app in a systemd unit of its own (app[-<launcher>]-<AppID>-<random>.scope,
// app[-<launcher>]-<AppID>[@<random>].service, or below an
// app-<AppID>.slice); Flatpak and Snap name theirs after the sandboxed app;
// terminal emulators built on VTE put each shell in a vte-spawn-<uuid>.scope.
struct Owner {
    enum class Kind {
        app,              // `appID` names it; `desktopFileID` finds its desktop entry
        terminalSession,  // a terminal's shell; `appID` is the terminal's when known
        systemService,    // a unit of system.slice (or systemd itself); `unit` names it
        none,             // nothing this rule recognises
    };
    Kind kind = Kind::none;
    std::string appID;
    std::string desktopFileID;
    std::string unit;  // the service's unit name, without ".service" and unescaped
};

// The unified hierarchy's path: the text after "0::" on its own line of a
// proc/<pid>/cgroup file. Absent when the file has no such line.
std::optional<std::string_view> unifiedPath(std::string_view cgroupFile);

// Undoes systemd's unit-name escaping ("\x2d" for '-', and any other
// "\xNN"); a malformed escape is kept as it stands.
std::string unescape(std::string_view unitName);

// The owner named by a control-group path such as
// "/user.slice/user-1000.slice/user@1000.service/app.slice/app-gnome-firefox-4711.scope".
Owner ownerOf(std::string_view cgroupPath);

// The fields of a desktop entry's [Desktop Entry] group this rule uses.
struct DesktopEntry {
    std::string name;  // the unlocalised Name
    bool isTerminalEmulator = false;  // Categories lists TerminalEmulator

    // Absent when the text has no [Desktop Entry] group with a Name.
    static std::optional<DesktopEntry> decode(std::string_view text);
};

// Terminal emulators known by app ID, for those whose desktop entry is
// missing or does not say so.
bool isKnownTerminal(std::string_view appID);

// A display name when no desktop entry has one: the last dot-separated part
// of a reverse-DNS ID ("org.gnome.Calculator" → "Calculator"), the snap's
// name of a snap ("spotify_spotify" → "spotify"), else the ID itself.
std::string fallbackName(std::string_view appID);

}  // namespace orv::CgroupAppRule
