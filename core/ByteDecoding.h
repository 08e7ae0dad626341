#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <type_traits>

// Unaligned, bounds-checked loads from outside bytes (kernel structures,
// netlink messages, frames). Every reader of binary data goes through these,
// so no decoder indexes past the bytes it was given.
namespace orv::ByteDecoding {

// `value` with its bytes in the opposite order.
template <class T>
constexpr T byteswapped(T value) {
    static_assert(std::is_integral_v<T>);
    using U = std::make_unsigned_t<T>;
    U in = static_cast<U>(value), out = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        out = static_cast<U>((out << 8) | (in & 0xFFu));
        in = static_cast<U>(in >> 8);
    }
    return static_cast<T>(out);
}

// Whether `count` bytes are there from `offset` on, without overflow.
constexpr bool has(std::span<const uint8_t> bytes, std::size_t offset, std::size_t count) {
    return offset <= bytes.size() && count <= bytes.size() - offset;
}

// A T in the host's order (the kernel's own structures, read on the machine
// that wrote them), or absent when the bytes end first.
template <class T>
std::optional<T> loadNative(std::span<const uint8_t> bytes, std::size_t offset) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (!has(bytes, offset, sizeof(T))) return std::nullopt;
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// A T stored little-endian at `offset`, or absent when the bytes end first.
template <class T>
std::optional<T> loadLittleEndian(std::span<const uint8_t> bytes, std::size_t offset) {
    auto value = loadNative<T>(bytes, offset);
    if constexpr (std::endian::native == std::endian::big && std::is_integral_v<T> && sizeof(T) > 1) {
        if (value) *value = byteswapped(*value);
    }
    return value;
}

// A T stored big-endian at `offset` (network order), or absent.
template <class T>
std::optional<T> loadBigEndian(std::span<const uint8_t> bytes, std::size_t offset) {
    static_assert(std::is_integral_v<T>);
    auto value = loadNative<T>(bytes, offset);
    if (value && std::endian::native == std::endian::little && sizeof(T) > 1) *value = byteswapped(*value);
    return value;
}

// An unsigned number of `width` bytes (1 to 8) stored big-endian at
// `offset`, for formats whose field widths are themselves data (binary
// property lists); absent when the width is out of range or the bytes end.
inline std::optional<uint64_t> loadBigEndianOfWidth(std::span<const uint8_t> bytes, std::size_t offset,
                                                    std::size_t width) {
    if (width < 1 || width > sizeof(uint64_t) || !has(bytes, offset, width)) return std::nullopt;
    uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = (value << 8) | bytes[offset + i];
    return value;
}

}  // namespace orv::ByteDecoding
