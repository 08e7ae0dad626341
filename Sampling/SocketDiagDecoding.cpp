#include "Sampling/SocketDiagDecoding.h"

#include <arpa/inet.h>

#include <algorithm>
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
            if (type != byFamilyType) return true;
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

}  // namespace orv
