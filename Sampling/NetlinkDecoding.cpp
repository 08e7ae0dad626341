#include "Sampling/NetlinkDecoding.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <functional>

#include "core/ByteDecoding.h"
#include "core/Utf8.h"

namespace orv {

namespace {

using ByteDecoding::loadNative;

class MalformedCategory : public std::error_category {
public:
    const char* name() const noexcept override { return "netlink"; }
    std::string message(int) const override { return "malformed netlink message"; }
};

// The walk of the rtnetlink dumps: a payload they cannot read makes the
// datagram malformed, keeping what came before it.
Result<NetlinkDecoding::Step> walk(std::span<const uint8_t> datagram, uint32_t sequence,
                                   const NetlinkDecoding::MessageVisitor& visit) {
    size_t skipped = 0;
    auto step = NetlinkDecoding::messages(
        datagram, sequence, [&](uint16_t type, std::span<const uint8_t> payload) {
            if (skipped != 0) return true;
            return visit(type, payload);
        },
        &skipped);
    if (!step) return step;
    if (skipped != 0) return NetlinkDecoding::malformed();
    return step;
}

// The rx and tx bytes of a struct rtnl_link_stats64; absent when it is short.
std::optional<InterfaceCounters> linkStats64(std::span<const uint8_t> value) {
    const auto in = loadNative<uint64_t>(value, NetlinkDecoding::stats64RxBytesOffset);
    const auto out = loadNative<uint64_t>(value, NetlinkDecoding::stats64TxBytesOffset);
    if (!in || !out) return std::nullopt;
    return InterfaceCounters{*in, *out};
}

}  // namespace

Result<NetlinkDecoding::Step> NetlinkDecoding::messages(std::span<const uint8_t> datagram,
                                                        std::optional<uint32_t> sequence, const MessageVisitor& visit,
                                                        size_t* skipped) {
    size_t offset = 0;
    while (datagram.size() - offset >= headerSize) {
        // struct nlmsghdr: length, type, flags, sequence, port.
        const auto length = loadNative<uint32_t>(datagram, offset);
        const auto type = loadNative<uint16_t>(datagram, offset + 4);
        const auto messageSequence = loadNative<uint32_t>(datagram, offset + 8);
        if (!length || !type || !messageSequence || *length < headerSize || *length > datagram.size() - offset) {
            return malformed();
        }
        auto payload = datagram.subspan(offset + headerSize, *length - headerSize);
        offset += std::min(align4(*length), datagram.size() - offset);
        if (sequence && *messageSequence != *sequence) continue;
        if (*type == doneType) return Step::done;
        if (*type == errorType) {
            // struct nlmsgerr starts with the negative errno.
            const auto error = loadNative<int32_t>(payload, 0);
            if (!error) return malformed();
            // A positive, zero (an acknowledgement, which no dump sends) or
            // unnegatable value is not an errno.
            if (*error >= 0 || *error == INT32_MIN) return errorFrom(EPROTO);
            return errorFrom(-*error);
        }
        if (!visit(*type, payload) && skipped) ++*skipped;
    }
    if (offset != datagram.size()) return malformed();
    return Step::more;
}

std::error_code NetlinkDecoding::malformed() {
    static const MalformedCategory category;
    return std::error_code(1, category);
}

Result<NetlinkDecoding::Step> NetlinkDecoding::links(std::span<const uint8_t> datagram, uint32_t sequence,
                                                     std::vector<NetlinkLink>& out) {
    return walk(datagram, sequence, [&](uint16_t type, std::span<const uint8_t> payload) {
        if (type != newLinkType) return true;
        const auto index = loadNative<int32_t>(payload, linkIndexOffset);
        if (!index || payload.size() < linkHeaderSize) return false;
        NetlinkLink link;
        link.index = *index;
        bool named = false;
        bool whole = forEachAttribute(payload.subspan(linkHeaderSize), [&](uint16_t kind, std::span<const uint8_t> value) {
            if (kind == nameAttribute) {
                auto end = std::find(value.begin(), value.end(), uint8_t(0));
                auto bytes = value.first(size_t(end - value.begin()));
                if (!bytes.empty() && isValidUtf8(bytes)) {
                    link.name.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
                    named = true;
                }
            } else if (kind == stats64Attribute) {
                if (auto counters = linkStats64(value)) link.counters = counters;
            }
        });
        if (!whole) return false;
        if (named) out.push_back(std::move(link));
        return true;
    });
}

Result<NetlinkDecoding::Step> NetlinkDecoding::stats(std::span<const uint8_t> datagram, uint32_t sequence,
                                                     std::vector<NetlinkStats>& out) {
    return walk(datagram, sequence, [&](uint16_t type, std::span<const uint8_t> payload) {
        if (type != newStatsType) return true;
        const auto index = loadNative<int32_t>(payload, statsIndexOffset);
        if (!index || payload.size() < statsHeaderSize) return false;
        NetlinkStats entry;
        entry.index = *index;
        bool found = false;
        bool whole = forEachAttribute(payload.subspan(statsHeaderSize), [&](uint16_t kind, std::span<const uint8_t> value) {
            if (kind != statsLink64Attribute) return;
            if (auto counters = linkStats64(value)) {
                entry.counters = *counters;
                found = true;
            }
        });
        if (!whole) return false;
        if (found) out.push_back(entry);
        return true;
    });
}

Result<NetlinkDecoding::Step> NetlinkDecoding::routes(std::span<const uint8_t> datagram, uint32_t sequence,
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
        std::span<const uint8_t> multipath;
        bool whole = forEachAttribute(payload.subspan(routeHeaderSize), [&](uint16_t kind, std::span<const uint8_t> value) {
            if (value.size() < 4) return;
            if (kind == routeTableAttribute) route.table = loadNative<uint32_t>(value, 0).value_or(route.table);
            else if (kind == routeOutputAttribute) route.outputInterface = loadNative<int32_t>(value, 0);
            else if (kind == routePriorityAttribute) route.priority = loadNative<uint32_t>(value, 0).value_or(0);
            else if (kind == routeMultipathAttribute) multipath = value;
        });
        if (!whole) return false;
        // struct rtnexthop: 16-bit length, flags, hops, then the 32-bit
        // interface index; the route goes out of the first one the kernel lists.
        if (!route.outputInterface && multipath.size() >= nexthopHeaderSize) {
            const auto length = loadNative<uint16_t>(multipath, 0);
            if (length && *length >= nexthopHeaderSize) {
                route.outputInterface = loadNative<int32_t>(multipath, nexthopInterfaceOffset);
            }
        }
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
