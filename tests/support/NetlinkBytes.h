#pragma once

// Hand-built netlink messages for decoder tests: what the kernel would send,
// byte for byte, on any host.

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

namespace orv::test {

// Appends `size` bytes and pads to the 4-byte alignment netlink uses.
inline void putAligned(std::vector<uint8_t>& bytes, const void* data, size_t size) {
    const size_t at = bytes.size();
    bytes.resize(at + ((size + 3) & ~size_t(3)), 0);
    if (size) std::memcpy(bytes.data() + at, data, size);
}

inline std::vector<uint8_t> netlinkAttribute(uint16_t type, const void* data, size_t size) {
    std::vector<uint8_t> bytes;
    uint16_t header[2] = {uint16_t(4 + size), type};
    putAligned(bytes, header, 4);
    putAligned(bytes, data, size);
    return bytes;
}

inline std::vector<uint8_t> netlinkMessage(uint16_t type, uint32_t sequence, const std::vector<uint8_t>& payload) {
    std::vector<uint8_t> bytes(16, 0);
    uint32_t length = uint32_t(16 + payload.size());
    std::memcpy(bytes.data(), &length, 4);
    std::memcpy(bytes.data() + 4, &type, 2);
    std::memcpy(bytes.data() + 8, &sequence, 4);
    putAligned(bytes, payload.data(), payload.size());
    return bytes;
}

inline void append(std::vector<uint8_t>& to, const std::vector<uint8_t>& more) {
    to.insert(to.end(), more.begin(), more.end());
}

// One socket as a SOCK_DIAG_BY_FAMILY message's payload describes it.
struct DiagSocket {
    uint8_t family = 2;  // AF_INET
    uint8_t state = 1;   // TCP_ESTABLISHED
    uint16_t localPort = 0, remotePort = 0;
    std::array<uint8_t, 16> local{}, remote{};
    uint32_t interfaceIndex = 0;
    uint64_t cookie = 0;
    uint32_t uid = 0, inode = 0;
    // tcp_info's tcpi_bytes_received and tcpi_bytes_acked, when present;
    // `infoSize` cuts the tcp_info short as an older kernel would.
    std::optional<uint64_t> received, acked;
    size_t infoSize = 232;
};

inline std::vector<uint8_t> diagPayload(const DiagSocket& s) {
    std::vector<uint8_t> payload(72, 0);
    payload[0] = s.family;
    payload[1] = s.state;
    const uint8_t ports[4] = {uint8_t(s.localPort >> 8), uint8_t(s.localPort), uint8_t(s.remotePort >> 8),
                              uint8_t(s.remotePort)};
    std::memcpy(payload.data() + 4, ports, 4);
    std::memcpy(payload.data() + 8, s.local.data(), 16);
    std::memcpy(payload.data() + 24, s.remote.data(), 16);
    std::memcpy(payload.data() + 40, &s.interfaceIndex, 4);
    const uint32_t cookie[2] = {uint32_t(s.cookie), uint32_t(s.cookie >> 32)};
    std::memcpy(payload.data() + 44, cookie, 8);
    std::memcpy(payload.data() + 64, &s.uid, 4);
    std::memcpy(payload.data() + 68, &s.inode, 4);
    if (s.received || s.acked) {
        std::vector<uint8_t> info(s.infoSize, 0);
        const uint64_t acked = s.acked.value_or(0), received = s.received.value_or(0);
        if (info.size() >= 128) std::memcpy(info.data() + 120, &acked, 8);
        if (info.size() >= 136) std::memcpy(info.data() + 128, &received, 8);
        append(payload, netlinkAttribute(2, info.data(), info.size()));  // INET_DIAG_INFO
    }
    return payload;
}

inline std::vector<uint8_t> diagMessage(const DiagSocket& s, uint32_t sequence) {
    return netlinkMessage(20, sequence, diagPayload(s));  // SOCK_DIAG_BY_FAMILY
}

inline std::vector<uint8_t> netlinkDone(uint32_t sequence) {
    uint32_t zero = 0;
    std::vector<uint8_t> payload(4);
    std::memcpy(payload.data(), &zero, 4);
    return netlinkMessage(3, sequence, payload);
}

inline std::vector<uint8_t> netlinkError(int32_t negativeErrno, uint32_t sequence) {
    std::vector<uint8_t> payload(20, 0);
    std::memcpy(payload.data(), &negativeErrno, 4);
    return netlinkMessage(2, sequence, payload);
}

inline std::array<uint8_t, 16> ipv4(uint8_t a, uint8_t b, uint8_t c, uint8_t d) { return {a, b, c, d}; }

}  // namespace orv::test
