#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/PropertyValue.h"

namespace orv {

// The helper's own Info.plist, which is built into its binary: on macOS
// the __TEXT,__info_plist section its main bundle reads, on Linux the same
// property-list bytes linked in as data.
namespace HelperInfo {

inline constexpr std::string_view teamIDKey = "OrvantineTeamID";
inline constexpr std::string_view versionKey = "CFBundleVersion";

// The running helper's dictionary, or nothing when it has none.
std::optional<PropertyValue> load();

// Reads property-list bytes; nothing when malformed or not a dictionary.
std::optional<PropertyValue> parse(std::span<const uint8_t> bytes);

// The value under `key` when it is a string; any other value counts as absent.
std::optional<std::string> stringValue(const std::optional<PropertyValue>& info, std::string_view key);

}  // namespace HelperInfo

}  // namespace orv
