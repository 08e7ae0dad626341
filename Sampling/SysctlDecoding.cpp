#include "Sampling/SysctlDecoding.h"

#include <algorithm>

#include "core/ByteDecoding.h"
#include "core/Utf8.h"

namespace orv {

int64_t SysctlInteger::decode(std::span<const uint8_t, 8> buffer, size_t length) {
    // The buffer's 8 bytes are always there, so neither load fails.
    if (length == sizeof(int32_t)) return *ByteDecoding::loadNative<int32_t>(buffer, 0);
    return *ByteDecoding::loadNative<int64_t>(buffer, 0);
}

std::optional<uint64_t> SysctlUInt64::decode(std::span<const uint8_t> bytes) {
    if (bytes.size() != sizeof(uint64_t)) return std::nullopt;
    return ByteDecoding::loadNative<uint64_t>(bytes, 0);
}

std::optional<std::string> SysctlString::decode(std::span<const uint8_t> buffer) {
    auto end = std::find(buffer.begin(), buffer.end(), uint8_t(0));
    auto text = buffer.first(size_t(end - buffer.begin()));
    if (!isValidUtf8(text)) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(text.data()), text.size());
}

std::optional<uint64_t> SwapUsage::decode(std::span<const uint8_t> bytes) {
    if (bytes.size() != size) return std::nullopt;
    return ByteDecoding::loadNative<uint64_t>(bytes, usedOffset);
}

}  // namespace orv
