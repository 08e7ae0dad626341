#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace orv {

// The values of a sysfs-style attribute folder (one short text per file)
// and their reading: what the Linux ports of the power, sensor and GPU
// readers share. Pure: the files are read elsewhere.
namespace AttributeText {

using Attributes = std::map<std::string, std::string, std::less<>>;

std::string_view trimmed(std::string_view text);

// A decimal integer with an optional sign and surrounding blanks; anything
// else (empty, garbage, overflow) is absent.
std::optional<int64_t> integer(std::string_view text);

std::optional<int64_t> integerAt(const Attributes& attributes, std::string_view key);
const std::string* textAt(const Attributes& attributes, std::string_view key);

// Orders "hwmon2" before "hwmon10": runs of digits compare as numbers.
bool naturalLess(std::string_view a, std::string_view b);

}  // namespace AttributeText

}  // namespace orv
