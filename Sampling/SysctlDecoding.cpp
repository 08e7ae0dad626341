#include "Sampling/SysctlDecoding.h"

#include <algorithm>
#include <cstring>

namespace orv {

int64_t SysctlDecoding::integer(std::span<const uint8_t, 8> buffer, size_t length) {
    if (length == 4) {
        int32_t narrow = 0;
        std::memcpy(&narrow, buffer.data(), sizeof narrow);
        return narrow;
    }
    int64_t wide = 0;
    std::memcpy(&wide, buffer.data(), sizeof wide);
    return wide;
}

std::optional<uint64_t> SysctlDecoding::exactUInt64(std::span<const uint8_t> bytes) {
    if (bytes.size() != sizeof(uint64_t)) return std::nullopt;
    uint64_t value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

std::optional<std::string> SysctlDecoding::string(std::span<const uint8_t> buffer) {
    auto end = std::find(buffer.begin(), buffer.end(), uint8_t(0));
    auto text = buffer.first(size_t(end - buffer.begin()));
    if (!isValidUTF8(text)) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(text.data()), text.size());
}

std::optional<uint64_t> SysctlDecoding::swapUsed(std::span<const uint8_t> bytes) {
    if (bytes.size() != swapUsageSize) return std::nullopt;
    uint64_t used = 0;
    std::memcpy(&used, bytes.data() + swapUsedOffset, sizeof used);
    return used;
}

bool isValidUTF8(std::span<const uint8_t> bytes) {
    size_t i = 0;
    while (i < bytes.size()) {
        uint8_t lead = bytes[i];
        size_t extra;
        uint32_t minimum;
        uint32_t code;
        if (lead < 0x80) { ++i; continue; }
        if ((lead & 0xE0) == 0xC0) { extra = 1; minimum = 0x80; code = lead & 0x1F; }
        else if ((lead & 0xF0) == 0xE0) { extra = 2; minimum = 0x800; code = lead & 0x0F; }
        else if ((lead & 0xF8) == 0xF0) { extra = 3; minimum = 0x10000; code = lead & 0x07; }
        else return false;
        if (i + extra >= bytes.size()) return false;
        for (size_t k = 1; k <= extra; ++k) {
            uint8_t next = bytes[i + k];
            if ((next & 0xC0) != 0x80) return false;
            code = (code << 6) | (next & 0x3F);
        }
        if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
        i += extra + 1;
    }
    return true;
}

}  // namespace orv
