#include "cli/XdgPaths.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace orv::cli {

namespace {

std::filesystem::path home() {
    if (const char* h = std::getenv("HOME"); h && *h) return h;
    if (const passwd* entry = getpwuid(getuid()); entry && entry->pw_dir) return entry->pw_dir;
    return "/";
}

std::filesystem::path fromVariable(const char* name, const char* fallback) {
    const char* value = std::getenv(name);
    if (value && *value == '/') return value;
    return home() / fallback;
}

}  // namespace

std::filesystem::path XdgPaths::stateHome() { return fromVariable("XDG_STATE_HOME", ".local/state"); }
std::filesystem::path XdgPaths::configHome() { return fromVariable("XDG_CONFIG_HOME", ".config"); }
std::filesystem::path XdgPaths::historyDatabase() { return stateHome() / "orvantine" / "history.sqlite"; }
std::filesystem::path XdgPaths::alertSettings() { return configHome() / "orvantine" / "alerts.json"; }
std::filesystem::path XdgPaths::alertState() { return stateHome() / "orvantine" / "alert-state.json"; }

}  // namespace orv::cli
