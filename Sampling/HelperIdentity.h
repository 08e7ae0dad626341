#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orv {

// The names of the two programs that talk to each other, and the signing
// requirement by which each insists that the other comes from the same team.
namespace HelperIdentity {

inline constexpr std::string_view helperBundleID = "app.orvantine.helper";
inline constexpr std::string_view machServiceName = "app.orvantine.helper";
inline constexpr std::string_view plistName = "app.orvantine.helper.plist";
inline constexpr std::string_view appBundleID = "app.orvantine.Orvantine";

// The code-signing requirement for `identifier` signed by `teamID`, or
// nothing when the team identifier is absent, not exactly ten characters,
// or holds anything but Unicode letters and numbers.
std::optional<std::string> requirement(std::string_view identifier, const std::optional<std::string>& teamID);

}  // namespace HelperIdentity

}  // namespace orv
