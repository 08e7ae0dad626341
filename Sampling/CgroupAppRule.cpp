#include "Sampling/CgroupAppRule.h"

#include <algorithm>
#include <array>
#include <vector>

#include "core/TextDecoding.h"

namespace orv::CgroupAppRule {

namespace {


// Splits at the dashes systemd put there; escaped dashes ("\x2d") stay
// inside their part, still escaped.
std::vector<std::string_view> dashParts(std::string_view name) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    for (size_t i = 0; i <= name.size(); ++i) {
        if (i == name.size() || name[i] == '-') {
            parts.push_back(name.substr(start, i - start));
            start = i + 1;
        }
    }
    return parts;
}

std::string joinDashed(const std::vector<std::string_view>& parts, size_t from, size_t to) {
    std::string joined;
    for (size_t i = from; i < to; ++i) {
        if (i > from) joined += '-';
        joined += parts[i];
    }
    return joined;
}

Owner appOwner(std::string id) {
    Owner owner;
    owner.kind = Owner::Kind::app;
    owner.desktopFileID = id;
    owner.appID = std::move(id);
    return owner;
}

// "app[-<launcher>]-<AppID>-<random>.scope" or
// "app[-<launcher>]-<AppID>[@<random>].service" or "app-<AppID>.slice".
std::optional<Owner> appUnit(std::string_view unit) {
    if (!unit.starts_with("app-")) return std::nullopt;
    std::string_view stem;
    bool hasRandom = false;
    if (unit.ends_with(".scope")) {
        stem = unit.substr(0, unit.size() - 6);
        hasRandom = true;
    } else if (unit.ends_with(".service")) {
        stem = unit.substr(0, unit.size() - 8);
        if (auto at = stem.find('@'); at != std::string_view::npos) stem = stem.substr(0, at);
    } else if (unit.ends_with(".slice")) {
        // A slice's dashes are its nesting: the ID is the innermost part.
        stem = unit.substr(0, unit.size() - 6);
        auto parts = dashParts(stem);
        if (parts.size() < 2 || parts.back().empty()) return std::nullopt;
        return appOwner(unescape(parts.back()));
    } else {
        return std::nullopt;
    }
    auto parts = dashParts(stem);  // parts[0] is "app"
    size_t end = parts.size() - (hasRandom ? 1 : 0);
    if (end < 2) return std::nullopt;
    // One part: the ID alone. Two: launcher and ID. More: a launcher that
    // left dashes of the ID unescaped; the first part is still the launcher.
    size_t begin = end - 1 >= 2 ? 2 : 1;
    std::string id = unescape(joinDashed(parts, begin, end));
    if (id.empty()) return std::nullopt;
    // Flatpak's launcher names its apps in the same scheme.
    return appOwner(std::move(id));
}

// "flatpak-<AppID>-<pid>.scope", the form older Flatpak releases use.
std::optional<Owner> flatpakUnit(std::string_view unit) {
    if (!unit.starts_with("flatpak-") || !unit.ends_with(".scope")) return std::nullopt;
    auto parts = dashParts(unit.substr(0, unit.size() - 6));
    if (parts.size() < 3) return std::nullopt;
    std::string id = unescape(joinDashed(parts, 1, parts.size() - 1));
    if (id.empty()) return std::nullopt;
    return appOwner(std::move(id));
}

// "-xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" at the end of `text`.
bool endsWithUUID(std::string_view text) {
    if (text.size() < 37) return false;
    std::string_view uuid = text.substr(text.size() - 37);
    for (size_t i = 0; i < uuid.size(); ++i) {
        bool dash = i == 0 || i == 9 || i == 14 || i == 19 || i == 24;
        if (dash ? uuid[i] != '-' : TextDecoding::hexDigitValue(uuid[i]) < 0) return false;
    }
    return true;
}

// "snap.<snap>.<app>-<uuid>.scope" or "snap.<snap>.<app>.service". Snapd
// names the app's desktop file "<snap>_<app>.desktop", and that is its ID.
std::optional<Owner> snapUnit(std::string_view unit) {
    if (!unit.starts_with("snap.")) return std::nullopt;
    std::string_view stem;
    if (unit.ends_with(".scope")) {
        stem = unit.substr(5, unit.size() - 11);
        // Snapd ends a scope with "-<uuid>", whose own dashes are not the
        // app name's (which may have dashes of its own).
        size_t suffix = endsWithUUID(stem) ? 37 : 0;
        if (suffix == 0) {
            auto dash = stem.rfind('-');
            if (dash == std::string_view::npos) return std::nullopt;
            suffix = stem.size() - dash;
        }
        stem = stem.substr(0, stem.size() - suffix);
    } else if (unit.ends_with(".service")) {
        stem = unit.substr(5, unit.size() - 13);
    } else {
        return std::nullopt;
    }
    auto dot = stem.find('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == stem.size()) return std::nullopt;
    std::string snap = unescape(stem.substr(0, dot));
    std::string app = unescape(stem.substr(dot + 1));
    return appOwner(snap + "_" + app);
}

// Desktop entries escape string values as \s, \n, \t, \r and \\.
std::string unescapeValue(std::string_view value) {
    std::string out;
    out.reserve(value.size());
    for (size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            out += value[i];
            continue;
        }
        char next = value[++i];
        switch (next) {
            case 's': out += ' '; break;
            case 'n': out += '\n'; break;
            case 't': out += '\t'; break;
            case 'r': out += '\r'; break;
            case '\\': out += '\\'; break;
            default: out += '\\'; out += next; break;
        }
    }
    return out;
}

}  // namespace

std::optional<std::string_view> unifiedPath(std::string_view cgroupFile) {
    // "hierarchy-ID:controllers:path" per line (cgroups(7)); the unified
    // hierarchy is ID 0 with no controllers.
    constexpr std::string_view unifiedPrefix = "0::";
    for (std::string_view line : TextDecoding::Lines(cgroupFile)) {
        if (line.starts_with(unifiedPrefix)) return line.substr(unifiedPrefix.size());
    }
    return std::nullopt;
}

std::string unescape(std::string_view unitName) { return TextDecoding::unescapeHex(unitName); }

Owner ownerOf(std::string_view cgroupPath) {
    std::vector<std::string_view> components;
    size_t start = 0;
    for (size_t i = 0; i <= cgroupPath.size(); ++i) {
        if (i == cgroupPath.size() || cgroupPath[i] == '/') {
            if (i > start) components.push_back(cgroupPath.substr(start, i - start));
            start = i + 1;
        }
    }

    // A system service belongs to the system even when it is a snap's
    // daemon; systemd itself lives in init.scope at the root.
    bool inSystemSlice = std::find(components.begin(), components.end(), "system.slice") != components.end();
    if (inSystemSlice || (components.size() == 1 && components[0] == "init.scope")) {
        Owner owner;
        owner.kind = Owner::Kind::systemService;
        std::string_view unit = components.empty() ? "" : components.back();
        for (auto it = components.rbegin(); it != components.rend(); ++it) {
            if (it->ends_with(".service") || it->ends_with(".scope")) {
                unit = *it;
                break;
            }
        }
        if (unit.ends_with(".service")) unit.remove_suffix(8);
        else if (unit.ends_with(".scope")) unit.remove_suffix(6);
        owner.unit = unescape(unit);
        return owner;
    }

    // Innermost first: a shell's scope sits inside its terminal's slice.
    bool terminalSession = false;
    for (auto it = components.rbegin(); it != components.rend(); ++it) {
        std::string_view unit = *it;
        if (unit.starts_with("vte-spawn-") && unit.ends_with(".scope")) {
            terminalSession = true;
            continue;
        }
        std::optional<Owner> owner = appUnit(unit);
        if (!owner) owner = flatpakUnit(unit);
        if (!owner) owner = snapUnit(unit);
        if (owner) {
            if (terminalSession) owner->kind = Owner::Kind::terminalSession;
            return *owner;
        }
    }
    Owner owner;
    if (terminalSession) owner.kind = Owner::Kind::terminalSession;
    return owner;
}

std::optional<DesktopEntry> DesktopEntry::decode(std::string_view text) {
    using TextDecoding::trim;
    DesktopEntry entry;
    bool inGroup = false, hasName = false;
    for (std::string_view rawLine : TextDecoding::Lines(text)) {
        std::string_view line = trim(rawLine);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            inGroup = line == "[Desktop Entry]";
            continue;
        }
        if (!inGroup) continue;
        auto pair = TextDecoding::splitKeyValue(line, '=');
        if (!pair) continue;
        std::string_view key = trim(pair->first);
        std::string_view value = pair->second;
        if (key == "Name") {
            entry.name = unescapeValue(value);
            hasName = !entry.name.empty();
        } else if (key == "Categories") {
            for (std::string_view rest = value; !rest.empty();) {
                if (TextDecoding::takeUntil(rest, ';') == "TerminalEmulator") entry.isTerminalEmulator = true;
            }
        }
    }
    if (!hasName) return std::nullopt;
    return entry;
}

bool isKnownTerminal(std::string_view appID) {
    static constexpr std::array<std::string_view, 28> terminals{
        "org.gnome.Terminal", "org.gnome.Console", "org.gnome.Ptyxis", "org.kde.konsole", "org.kde.yakuake",
        "kitty", "Alacritty", "org.alacritty.Alacritty", "com.mitchellh.ghostty", "org.wezfurlong.wezterm",
        "xterm", "uxterm", "foot", "footclient", "xfce4-terminal", "org.xfce.terminal", "terminator",
        "com.gexperts.Tilix", "io.elementary.terminal", "mate-terminal", "lxterminal", "qterminal",
        "guake", "com.raggesilver.BlackBox", "dev.warp.Warp", "org.codeberg.dnkl.foot", "kgx",
        "gnome-terminal"};
    return std::find(terminals.begin(), terminals.end(), appID) != terminals.end();
}

std::string fallbackName(std::string_view appID) {
    if (auto underscore = appID.find('_'); underscore != std::string_view::npos && underscore > 0) {
        return std::string(appID.substr(0, underscore));
    }
    if (std::count(appID.begin(), appID.end(), '.') >= 2) {
        auto dot = appID.rfind('.');
        if (dot + 1 < appID.size()) return std::string(appID.substr(dot + 1));
    }
    return std::string(appID);
}

}  // namespace orv::CgroupAppRule
