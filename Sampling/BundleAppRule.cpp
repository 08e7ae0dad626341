#include "Sampling/BundleAppRule.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace orv::BundleAppRule {

namespace {

bool endsWithAppExtension(std::string_view component) {
    // The file system is case-insensitive; "Foo.APP" is a bundle too.
    if (component.size() <= 4) return false;
    auto extension = component.substr(component.size() - 4);
    return extension[0] == '.' && std::tolower(uint8_t(extension[1])) == 'a' &&
           std::tolower(uint8_t(extension[2])) == 'p' && std::tolower(uint8_t(extension[3])) == 'p';
}

std::string_view lastComponent(std::string_view path) {
    while (!path.empty() && path.back() == '/') path.remove_suffix(1);
    auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

const std::string* nonEmptyString(const PropertyValue& plist, std::string_view key) {
    const PropertyValue* value = plist.find(key);
    const std::string* text = value ? value->string() : nullptr;
    return text && !text->empty() ? text : nullptr;
}

}  // namespace

std::optional<std::string_view> outermostBundle(std::string_view executablePath) {
    size_t start = 0;
    for (size_t i = 0; i <= executablePath.size(); ++i) {
        if (i == executablePath.size() || executablePath[i] == '/') {
            if (endsWithAppExtension(executablePath.substr(start, i - start))) return executablePath.substr(0, i);
            start = i + 1;
        }
    }
    return std::nullopt;
}

bool isSystemPath(std::string_view executablePath) {
    for (std::string_view prefix : {"/System/", "/usr/libexec/", "/usr/sbin/"}) {
        if (executablePath.substr(0, prefix.size()) == prefix) return true;
    }
    return false;
}

bool isTerminalBundle(std::string_view bundleID) {
    static constexpr std::array<std::string_view, 12> terminals{
        "com.apple.Terminal", "com.googlecode.iterm2", "net.kovidgoyal.kitty", "org.alacritty",
        "io.alacritty", "com.github.wez.wezterm", "com.mitchellh.ghostty", "dev.warp.Warp-Stable",
        "co.zeit.hyper", "com.panic.Prompt3", "org.tabby", "com.raphaelamorim.rio"};
    return std::find(terminals.begin(), terminals.end(), bundleID) != terminals.end();
}

BundleInfo bundleInfo(std::string_view bundlePath, const std::optional<PropertyValue>& infoPlist) {
    BundleInfo info;
    if (infoPlist && infoPlist->dictionary()) {
        if (auto* id = nonEmptyString(*infoPlist, "CFBundleIdentifier")) info.bundleID = *id;
        if (auto* name = nonEmptyString(*infoPlist, "CFBundleDisplayName")) info.name = *name;
        else if (auto* bundleName = nonEmptyString(*infoPlist, "CFBundleName")) info.name = *bundleName;
    }
    if (info.name.empty()) {
        std::string_view file = lastComponent(bundlePath);
        info.name = std::string(file.substr(0, file.size() >= 4 ? file.size() - 4 : file.size()));
    }
    return info;
}

}  // namespace orv::BundleAppRule
