#include "Sampling/SocketDiagDecoding.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/ByteDecoding.h"

namespace orv {

namespace {

using ByteDecoding::loadBigEndian;
using ByteDecoding::loadNative;

bool isLoopbackAddress(uint8_t family, const std::array<uint8_t, 16>& address) {
    if (family == NetlinkDecoding::inetFamily) return address[0] == 127;
    static constexpr std::array<uint8_t, 16> loopback6{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    if (address == loopback6) return true;
    // ::ffff:127.x.y.z, an IPv4 loopback peer of a dual-stack socket.
    const bool mapped = std::all_of(address.begin(), address.begin() + 10, [](uint8_t b) { return b == 0; }) &&
                        address[10] == 0xff && address[11] == 0xff;
    return mapped && address[12] == 127;
}

}  // namespace

bool InetSocket::isLoopback(uint32_t loopbackIndex) const {
    if (interfaceIndex != 0 && interfaceIndex == loopbackIndex) return true;
    return isLoopbackAddress(family, localAddress) && isLoopbackAddress(family, remoteAddress);
}

std::string InetSocket::localAddressText() const {
    char text[INET6_ADDRSTRLEN] = {};
    const int af = family == NetlinkDecoding::inetFamily ? AF_INET : AF_INET6;
    if (!inet_ntop(af, localAddress.data(), text, sizeof text)) return {};
    return text;
}

std::optional<InetSocket> SocketDiagDecoding::socket(std::span<const uint8_t> payload) {
    if (payload.size() < messageSize) return std::nullopt;
    InetSocket socket;
    socket.family = payload[0];
    socket.state = payload[1];
    if (socket.family != NetlinkDecoding::inetFamily && socket.family != NetlinkDecoding::inet6Family) {
        return std::nullopt;
    }
    const size_t addressSize = socket.family == NetlinkDecoding::inetFamily ? 4 : 16;
    socket.localPort = *loadBigEndian<uint16_t>(payload, sourcePortOffset);
    socket.remotePort = *loadBigEndian<uint16_t>(payload, destinationPortOffset);
    std::memcpy(socket.localAddress.data(), payload.data() + sourceAddressOffset, addressSize);
    std::memcpy(socket.remoteAddress.data(), payload.data() + destinationAddressOffset, addressSize);
    socket.interfaceIndex = *loadNative<uint32_t>(payload, interfaceOffset);
    const uint64_t low = *loadNative<uint32_t>(payload, cookieOffset);
    const uint64_t high = *loadNative<uint32_t>(payload, cookieOffset + 4);
    socket.cookie = (high << 32) | low;
    socket.uid = *loadNative<uint32_t>(payload, uidOffset);
    socket.inode = *loadNative<uint32_t>(payload, inodeOffset);
    const bool whole = NetlinkDecoding::forEachAttribute(
        payload.subspan(messageSize), [&](uint16_t kind, std::span<const uint8_t> value) {
            if (kind != infoAttribute) return;
            // Older kernels send a shorter tcp_info: without the byte counts
            // the socket simply has none.
            socket.bytesAcked = loadNative<uint64_t>(value, bytesAckedOffset);
            socket.bytesReceived = loadNative<uint64_t>(value, bytesReceivedOffset);
            if (!socket.bytesAcked || !socket.bytesReceived) socket.bytesAcked.reset(), socket.bytesReceived.reset();
        });
    if (!whole) return std::nullopt;
    return socket;
}

Result<NetlinkDecoding::Step> SocketDiagDecoding::sockets(std::span<const uint8_t> datagram,
                                                          std::optional<uint32_t> sequence,
                                                          std::vector<InetSocket>& out, size_t* skipped) {
    return NetlinkDecoding::messages(
        datagram, sequence,
        [&](uint16_t type, std::span<const uint8_t> payload) {
            if (type != byFamilyType && type != tcpDumpType) return true;
            auto decoded = socket(payload);
            if (!decoded) return false;
            out.push_back(*decoded);
            return true;
        },
        skipped);
}

std::array<uint8_t, SocketDiagDecoding::requestSize> SocketDiagDecoding::dumpRequest(uint8_t family,
                                                                                   uint32_t stateMask,
                                                                                   bool withInfo) {
    std::array<uint8_t, requestSize> request{};
    request[0] = family;
    request[1] = tcpProtocol;
    // idiag_ext: bit (attribute − 1) asks for that attribute.
    request[2] = withInfo ? uint8_t(1u << (infoAttribute - 1)) : 0;
    std::memcpy(request.data() + 4, &stateMask, sizeof stateMask);
    return request;
}

std::array<uint8_t, SocketDiagDecoding::tcpRequestSize> SocketDiagDecoding::tcpDumpRequest(uint32_t stateMask,
                                                                                         bool withInfo) {
    // idiag_family 0 (AF_UNSPEC: both), the address lengths 0, idiag_ext,
    // the socket id left empty, then idiag_states and idiag_dbs.
    std::array<uint8_t, tcpRequestSize> request{};
    request[3] = withInfo ? uint8_t(1u << (infoAttribute - 1)) : 0;
    std::memcpy(request.data() + 4 + 48, &stateMask, sizeof stateMask);
    return request;
}

std::array<uint8_t, SocketDiagDecoding::requestSize> SocketDiagDecoding::lookupRequest(const InetSocket& socket,
                                                                                     bool withInfo) {
    // Every state: the socket is asked for by its identity, whatever it is
    // doing now.
    auto request = dumpRequest(socket.family, 0xffffffffu, withInfo);
    // struct inet_diag_sockid follows the 8-byte head; ports in network order.
    constexpr size_t id = 8;
    const uint16_t localPort = htons(socket.localPort), remotePort = htons(socket.remotePort);
    std::memcpy(request.data() + id + sourcePortOffset - 4, &localPort, 2);
    std::memcpy(request.data() + id + destinationPortOffset - 4, &remotePort, 2);
    std::memcpy(request.data() + id + sourceAddressOffset - 4, socket.localAddress.data(), 16);
    std::memcpy(request.data() + id + destinationAddressOffset - 4, socket.remoteAddress.data(), 16);
    std::memcpy(request.data() + id + interfaceOffset - 4, &socket.interfaceIndex, 4);
    const uint32_t cookie[2] = {uint32_t(socket.cookie), uint32_t(socket.cookie >> 32)};
    std::memcpy(request.data() + id + cookieOffset - 4, cookie, sizeof cookie);
    return request;
}

Result<void> SocketDiagDecoding::lookupAnswers(std::span<const uint8_t> datagram, std::vector<LookupAnswer>& out) {
    size_t offset = 0;
    const size_t before = out.size();
    auto fail = [&](std::error_code error) -> Result<void> {
        out.resize(before);
        return error;
    };
    while (datagram.size() - offset >= NetlinkDecoding::headerSize) {
        const auto length = loadNative<uint32_t>(datagram, offset);
        const auto type = loadNative<uint16_t>(datagram, offset + 4);
        const auto sequence = loadNative<uint32_t>(datagram, offset + 8);
        if (!length || !type || !sequence || *length < NetlinkDecoding::headerSize ||
            *length > datagram.size() - offset) {
            return fail(NetlinkDecoding::malformed());
        }
        auto payload = datagram.subspan(offset + NetlinkDecoding::headerSize, *length - NetlinkDecoding::headerSize);
        offset += std::min(NetlinkDecoding::align4(*length), datagram.size() - offset);
        if (*type == NetlinkDecoding::errorType) {
            // struct nlmsgerr starts with the negative errno.
            const auto error = loadNative<int32_t>(payload, 0);
            if (!error) return fail(NetlinkDecoding::malformed());
            if (*error == -ENOENT || *error == -ESTALE) {
                out.push_back({*sequence, std::nullopt});
                continue;
            }
            if (*error >= 0 || *error == INT32_MIN) return fail(errorFrom(EPROTO));
            return fail(errorFrom(-*error));
        }
        if (*type != byFamilyType) continue;
        auto decoded = socket(payload);
        if (!decoded) return fail(NetlinkDecoding::malformed());
        out.push_back({*sequence, std::move(decoded)});
    }
    if (offset != datagram.size()) return fail(NetlinkDecoding::malformed());
    return {};
}

std::vector<uint8_t> SocketDiagDecoding::nonLoopbackFilter() {
    struct Condition {
        uint8_t family;
        uint8_t prefixLength;
        std::array<uint8_t, 16> address;
        size_t addressSize;
    };
    const Condition conditions[] = {
        {NetlinkDecoding::inetFamily, 8, {127}, 4},
        {NetlinkDecoding::inet6Family, 128, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, 16},
    };
    size_t total = 0;
    for (const auto& c : conditions) total += 4 + 8 + c.addressSize + 4;
    std::vector<uint8_t> program;
    auto op = [&](uint8_t code, size_t yes, size_t no) {
        program.push_back(code);
        program.push_back(uint8_t(yes));
        const uint16_t jump = uint16_t(no);
        program.insert(program.end(), reinterpret_cast<const uint8_t*>(&jump), reinterpret_cast<const uint8_t*>(&jump) + 2);
    };
    // Each condition negated: a match falls to a jump past the end (left
    // out); no match skips that jump and goes on to the next.
    for (const auto& c : conditions) {
        const size_t conditionSize = 4 + 8 + c.addressSize;
        op(destinationOp, conditionSize, conditionSize + 4);
        program.push_back(c.family);
        program.push_back(c.prefixLength);
        program.push_back(0);
        program.push_back(0);
        const int32_t anyPort = -1;
        program.insert(program.end(), reinterpret_cast<const uint8_t*>(&anyPort),
                       reinterpret_cast<const uint8_t*>(&anyPort) + 4);
        program.insert(program.end(), c.address.begin(), c.address.begin() + long(c.addressSize));
        op(jumpOp, 4, total + 4 - program.size());
    }
    return program;
}

std::optional<bool> SocketDiagDecoding::runFilter(std::span<const uint8_t> program, const InetSocket& socket) {
    auto prefixMatches = [](const uint8_t* a, const uint8_t* b, unsigned bits) {
        for (unsigned i = 0; i < bits; ++i) {
            const uint8_t mask = uint8_t(0x80u >> (i % 8));
            if ((a[i / 8] & mask) != (b[i / 8] & mask)) return false;
        }
        return true;
    };
    long remaining = long(program.size());
    size_t at = 0;
    while (remaining > 0) {
        if (at + 4 > program.size()) return std::nullopt;
        const uint8_t code = program[at];
        const uint8_t yes = program[at + 1];
        const uint16_t no = *ByteDecoding::loadNative<uint16_t>(program, at + 2);
        bool matched = true;
        if (code == destinationOp) {
            if (at + 12 > program.size()) return std::nullopt;
            const uint8_t family = program[at + 4];
            const unsigned bits = program[at + 5];
            const uint8_t* address = program.data() + at + 12;
            if (family == socket.family) {
                matched = prefixMatches(socket.remoteAddress.data(), address, bits);
            } else if (family == NetlinkDecoding::inetFamily && socket.family == NetlinkDecoding::inet6Family) {
                static constexpr uint8_t mapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
                matched = std::equal(mapped, mapped + 12, socket.remoteAddress.begin()) &&
                          prefixMatches(socket.remoteAddress.data() + 12, address, bits);
            } else {
                matched = false;
            }
        } else if (code == jumpOp) {
            matched = false;
        } else {
            return std::nullopt;
        }
        const size_t step = matched ? yes : no;
        if (step < 4 || step % 4 != 0) return std::nullopt;
        remaining -= long(step);
        at += step;
    }
    return remaining == 0;
}

}  // namespace orv
