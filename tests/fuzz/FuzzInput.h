#pragma once

// What every fuzz target receives: the bytes libFuzzer chose, as text or
// as a byte span, and the first byte alone when a target picks a decoder.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace orv::fuzz {

inline std::string_view text(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}
inline std::span<const uint8_t> bytes(const uint8_t* data, size_t size) { return {data, size}; }

}  // namespace orv::fuzz
