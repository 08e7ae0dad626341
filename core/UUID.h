#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/JsonCoding.h"

namespace orv {

// A 128-bit identifier, written as its upper-case canonical text
// ("E621E1F8-C36C-495A-93FC-0C247A3E6E5F"), as the Swift peer writes one.
struct UUID {
    std::array<uint8_t, 16> bytes{};

    // A version-4 (random) identifier.
    static UUID random();
    // Reads the canonical 36-character form in either case.
    static std::optional<UUID> parse(std::string_view text);
    std::string string() const;

    friend bool operator==(const UUID&, const UUID&) = default;
};

template <>
struct json::Coder<UUID> {
    static void write(const UUID& id, JsonWriter& out) { out.string(id.string()); }
    static void encode(const UUID& id, boost::json::value& out);
    static UUID decode(Element e, const CodingPath& path);
};

}  // namespace orv

template <>
struct std::hash<orv::UUID> {
    size_t operator()(const orv::UUID& id) const noexcept {
        return std::hash<std::string_view>{}(
            std::string_view(reinterpret_cast<const char*>(id.bytes.data()), id.bytes.size()));
    }
};
