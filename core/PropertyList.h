#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

#include "core/PropertyValue.h"

namespace orv {

// Reads property lists, XML or binary, into a PropertyValue: libplist on
// Linux, CoreFoundation on macOS. Malformed bytes give absence, never a throw.
struct PropertyList {
    static std::optional<PropertyValue> parse(std::span<const uint8_t> bytes);
    static std::optional<PropertyValue> read(const std::filesystem::path& file);
};

}  // namespace orv
