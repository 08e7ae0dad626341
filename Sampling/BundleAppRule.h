#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/PropertyValue.h"

namespace orv::BundleAppRule {

// The outermost application bundle on an executable's path: helpers live
// in bundles nested inside their app's ("/Applications/Google Chrome.app/
// Contents/Frameworks/…/Google Chrome Helper.app/Contents/MacOS/…" belongs
// to "/Applications/Google Chrome.app"). Absent when no component is a
// ".app" bundle.
std::optional<std::string_view> outermostBundle(std::string_view executablePath);

// Where the system's own programs live: a process without a bundle there
// (or run by root) counts as the system's.
bool isSystemPath(std::string_view executablePath);

// Terminal applications by bundle identifier: what runs under them is the
// user's shell work, shown apart from ordinary apps.
bool isTerminalBundle(std::string_view bundleID);

// What an Info.plist says about its bundle.
struct BundleInfo {
    std::optional<std::string> bundleID;  // CFBundleIdentifier
    std::string name;  // CFBundleDisplayName, else CFBundleName, else the bundle's file name without ".app"
};

// `infoPlist` may be absent or malformed; the name then comes from the path.
BundleInfo bundleInfo(std::string_view bundlePath, const std::optional<PropertyValue>& infoPlist);

}  // namespace orv::BundleAppRule
