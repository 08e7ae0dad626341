#include "HelperProtocol/HelperFrame.h"

namespace orv::HelperFrame {

namespace {
constexpr char absent = 0;
constexpr char present = 1;
}  // namespace

std::string header(uint32_t length) {
    std::string out(headerSize, '\0');
    out[0] = char((length >> 24) & 0xff);
    out[1] = char((length >> 16) & 0xff);
    out[2] = char((length >> 8) & 0xff);
    out[3] = char(length & 0xff);
    return out;
}

std::string frame(std::string_view payload) {
    std::string out = header(uint32_t(payload.size()));
    out += payload;
    return out;
}

std::string replyHeader(std::optional<size_t> dataSize) {
    std::string out = header(uint32_t(1 + dataSize.value_or(0)));
    out += dataSize ? present : absent;
    return out;
}

uint32_t announcedLength(std::string_view header) {
    const auto* b = reinterpret_cast<const uint8_t*>(header.data());
    return (uint32_t(b[0]) << 24) | (uint32_t(b[1]) << 16) | (uint32_t(b[2]) << 8) | uint32_t(b[3]);
}

Parsed parse(std::string_view buffer, uint32_t limit) {
    Parsed out;
    if (buffer.size() < headerSize) return out;
    out.announced = announcedLength(buffer);
    if (out.announced > limit) {
        out.status = Parsed::Status::tooLarge;
        return out;
    }
    // Compare without adding, so that no length can wrap on a 32-bit size_t.
    if (buffer.size() - headerSize < out.announced) return out;
    out.status = Parsed::Status::complete;
    out.payload = buffer.substr(headerSize, out.announced);
    out.consumed = headerSize + out.announced;
    return out;
}

std::string replyPayload(const std::optional<std::string_view>& data) {
    std::string out;
    if (!data) {
        out += absent;
        return out;
    }
    out.reserve(1 + data->size());
    out += present;
    out += *data;
    return out;
}

std::optional<std::optional<std::string_view>> readReply(std::string_view payload) {
    if (payload.empty()) return std::nullopt;
    if (payload[0] == absent) {
        if (payload.size() != 1) return std::nullopt;
        return std::optional<std::string_view>{};
    }
    if (payload[0] != present) return std::nullopt;
    return std::optional<std::string_view>{payload.substr(1)};
}

}  // namespace orv::HelperFrame
