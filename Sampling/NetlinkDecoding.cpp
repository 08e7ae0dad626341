#include "Sampling/NetlinkDecoding.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>

#include "core/Utf8.h"

namespace orv {

namespace {

template <class T>
T load(std::span<const uint8_t> bytes, size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// NLMSG_ALIGN and RTA_ALIGN: every message and attribute starts on 4 bytes.
constexpr size_t align4(size_t length) { return (length + 3) & ~size_t(3); }

using MessageVisitor = std::function<bool(uint16_t type, std::span<const uint8_t> payload)>;

// Walks the messages of one datagram, handing each payload of `sequence` to
// `visit` (which answers false for a malformed payload).
NetlinkDecoding::Progress walk(std::span<const uint8_t> datagram, uint32_t sequence, const MessageVisitor& visit) {
    NetlinkDecoding::Progress progress;
    size_t offset = 0;
    while (datagram.size() - offset >= NetlinkDecoding::headerSize) {
        const uint32_t length = load<uint32_t>(datagram, offset);
        const uint16_t type = load<uint16_t>(datagram, offset + 4);
        const uint32_t messageSequence = load<uint32_t>(datagram, offset + 8);
        if (length < NetlinkDecoding::headerSize || length > datagram.size() - offset) {
            progress.malformed = true;
            return progress;
        }
        auto payload = datagram.subspan(offset + NetlinkDecoding::headerSize, length - NetlinkDecoding::headerSize);
        offset += std::min(align4(length), datagram.size() - offset);
        if (messageSequence != sequence) continue;
        if (type == NetlinkDecoding::doneType) {
            progress.done = true;
            return progress;
        }
        if (type == NetlinkDecoding::errorType) {
            // struct nlmsgerr starts with the negative errno.
            if (payload.size() < 4) {
                progress.malformed = true;
                return progress;
            }
            progress.error = -load<int32_t>(payload, 0);
            if (progress.error <= 0) progress.error = EPROTO;
            return progress;
        }
        if (!visit(type, payload)) {
            progress.malformed = true;
            return progress;
        }
    }
    if (offset != datagram.size()) progress.malformed = true;
    return progress;
}

// Calls `attribute` for each rtattr in `attributes`; false when one runs past
// the end.
template <class F>
bool forEachAttribute(std::span<const uint8_t> attributes, F attribute) {
    size_t offset = 0;
    while (attributes.size() - offset >= NetlinkDecoding::attributeHeaderSize) {
        const uint16_t length = load<uint16_t>(attributes, offset);
        const uint16_t type = load<uint16_t>(attributes, offset + 2);
        if (length < NetlinkDecoding::attributeHeaderSize || length > attributes.size() - offset) return false;
        // The top bits are NLA_F_NESTED and NLA_F_NET_BYTEORDER.
        attribute(uint16_t(type & 0x3fff), attributes.subspan(offset + NetlinkDecoding::attributeHeaderSize,
                                                              length - NetlinkDecoding::attributeHeaderSize));
        offset += std::min(align4(length), attributes.size() - offset);
    }
    return true;
}

}  // namespace

NetlinkDecoding::Progress NetlinkDecoding::links(std::span<const uint8_t> datagram, uint32_t sequence,
                                                 std::vector<NetlinkLink>& out) {
    return walk(datagram, sequence, [&](uint16_t type, std::span<const uint8_t> payload) {
        if (type != newLinkType) return true;
        if (payload.size() < linkHeaderSize) return false;
        NetlinkLink link;
        link.index = load<int32_t>(payload, linkIndexOffset);
        bool named = false;
        bool whole = forEachAttribute(payload.subspan(linkHeaderSize), [&](uint16_t kind, std::span<const uint8_t> value) {
            if (kind == nameAttribute) {
                auto end = std::find(value.begin(), value.end(), uint8_t(0));
                auto bytes = value.first(size_t(end - value.begin()));
                if (!bytes.empty() && isValidUtf8(bytes)) {
                    link.name.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
                    named = true;
                }
            } else if (kind == stats64Attribute && value.size() >= stats64TxBytesOffset + 8) {
                link.counters = InterfaceCounters{load<uint64_t>(value, stats64RxBytesOffset),
                                                  load<uint64_t>(value, stats64TxBytesOffset)};
            }
        });
        if (!whole) return false;
        if (named) out.push_back(std::move(link));
        return true;
    });
}

NetlinkDecoding::Progress NetlinkDecoding::stats(std::span<const uint8_t> datagram, uint32_t sequence,
                                                 std::vector<NetlinkStats>& out) {
    return walk(datagram, sequence, [&](uint16_t type, std::span<const uint8_t> payload) {
        if (type != newStatsType) return true;
        if (payload.size() < statsHeaderSize) return false;
        NetlinkStats entry;
        entry.index = load<int32_t>(payload, statsIndexOffset);
        bool found = false;
        bool whole = forEachAttribute(payload.subspan(statsHeaderSize), [&](uint16_t kind, std::span<const uint8_t> value) {
            if (kind != statsLink64Attribute || value.size() < stats64TxBytesOffset + 8) return;
            entry.counters = InterfaceCounters{load<uint64_t>(value, stats64RxBytesOffset),
                                               load<uint64_t>(value, stats64TxBytesOffset)};
            found = true;
        });
        if (!whole) return false;
        if (found) out.push_back(entry);
        return true;
    });
}

NetlinkDecoding::Progress NetlinkDecoding::routes(std::span<const uint8_t> datagram, uint32_t sequence,
                                                  std::vector<NetlinkRoute>& out) {
    return walk(datagram, sequence, [&](uint16_t type, std::span<const uint8_t> payload) {
        if (type != newRouteType) return true;
        if (payload.size() < routeHeaderSize) return false;
        // struct rtmsg: family, dst_len, src_len, tos, table, protocol,
        // scope, type (one byte each), then 32-bit flags.
        NetlinkRoute route;
        route.family = payload[0];
        route.destinationLength = payload[1];
        route.table = payload[4];
        route.type = payload[7];
        bool whole = forEachAttribute(payload.subspan(routeHeaderSize), [&](uint16_t kind, std::span<const uint8_t> value) {
            if (value.size() < 4) return;
            if (kind == routeTableAttribute) route.table = load<uint32_t>(value, 0);
            else if (kind == routeOutputAttribute) route.outputInterface = load<int32_t>(value, 0);
            else if (kind == routePriorityAttribute) route.priority = load<uint32_t>(value, 0);
        });
        if (!whole) return false;
        out.push_back(route);
        return true;
    });
}

std::optional<int32_t> NetlinkDecoding::defaultRouteInterface(const std::vector<NetlinkRoute>& routes,
                                                              uint8_t family) {
    const NetlinkRoute* best = nullptr;
    for (const auto& route : routes) {
        if (route.family != family || route.destinationLength != 0 || route.table != mainTable ||
            route.type != unicastRoute || !route.outputInterface) {
            continue;
        }
        if (!best || route.priority < best->priority) best = &route;
    }
    if (!best) return std::nullopt;
    return best->outputInterface;
}

}  // namespace orv

namespace orv {

std::optional<int32_t> NetlinkDecoding::primaryInterface(const std::vector<NetlinkRoute>& routes) {
    if (auto index = defaultRouteInterface(routes, inetFamily)) return index;
    return defaultRouteInterface(routes, inet6Family);
}

}  // namespace orv
