#include "core/UUID.h"

#include <random>

#include "core/TextDecoding.h"

namespace orv {

UUID UUID::random() {
    // random_device reads the kernel's generator; one per call keeps this
    // free of shared state between threads.
    std::random_device device;
    UUID id;
    for (size_t i = 0; i < id.bytes.size(); i += 4) {
        uint32_t word = device();
        for (size_t j = 0; j < 4; ++j) id.bytes[i + j] = uint8_t(word >> (8 * j));
    }
    id.bytes[6] = uint8_t((id.bytes[6] & 0x0F) | 0x40);  // version 4
    id.bytes[8] = uint8_t((id.bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    return id;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != 36) return std::nullopt;
    UUID id;
    size_t byte = 0;
    for (size_t i = 0; i < text.size();) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i] != '-') return std::nullopt;
            ++i;
            continue;
        }
        int high = TextDecoding::hexDigitValue(text[i]);
        int low = TextDecoding::hexDigitValue(text[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        id.bytes[byte++] = uint8_t(high * 16 + low);
        i += 2;
    }
    return id;
}

std::string UUID::string() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0F];
    }
    return text;
}

void json::Coder<UUID>::encode(const UUID& id, boost::json::value& out) { out = id.string(); }

UUID json::Coder<UUID>::decode(Element e, const CodingPath& path) {
    auto text = decodeFrom<std::string>(e, path);
    auto id = UUID::parse(text);
    if (!id) throwDataCorrupted(path, "Attempted to decode UUID from invalid UUID string.");
    return *id;
}

}  // namespace orv
