#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace orv {

// Whether `bytes` are well-formed UTF-8 (no overlongs, surrogates or values
// past U+10FFFF).
bool isValidUtf8(std::string_view bytes);
inline bool isValidUtf8(std::span<const uint8_t> bytes) {
    return isValidUtf8(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

// `bytes` decoded as UTF-8 with each ill-formed sequence replaced by U+FFFD,
// one replacement per maximal ill-formed subpart, as Swift's String(decoding:)
// and ICU do.
std::string repairUtf8(std::string_view bytes);

}  // namespace orv
