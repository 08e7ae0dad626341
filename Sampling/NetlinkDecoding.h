#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "core/ByteDecoding.h"
#include "core/InterfaceCounters.h"
#include "core/Result.h"

namespace orv {

// One interface from an RTM_NEWLINK message.
struct NetlinkLink {
    int32_t index = 0;
    std::string name;
    std::optional<InterfaceCounters> counters;  // absent without IFLA_STATS64

    friend bool operator==(const NetlinkLink&, const NetlinkLink&) = default;
};

// One interface's counters from an RTM_NEWSTATS message.
struct NetlinkStats {
    int32_t index = 0;
    InterfaceCounters counters;

    friend bool operator==(const NetlinkStats&, const NetlinkStats&) = default;
};

// One route from an RTM_NEWROUTE message, as much as the default-route
// choice needs.
struct NetlinkRoute {
    uint8_t family = 0;
    uint8_t destinationLength = 0;
    uint32_t table = 0;
    uint8_t type = 0;
    std::optional<int32_t> outputInterface;
    uint32_t priority = 0;

    friend bool operator==(const NetlinkRoute&, const NetlinkRoute&) = default;
};

// Decoding of rtnetlink dump replies, one received datagram at a time. The
// layouts are the kernel's (<linux/netlink.h>, <linux/rtnetlink.h>,
// <linux/if_link.h>), named here so the decoding runs on any host; the
// Linux port checks them against the kernel headers at compile time.
struct NetlinkDecoding {
    static constexpr size_t headerSize = 16;          // struct nlmsghdr
    static constexpr uint16_t errorType = 2;          // NLMSG_ERROR
    static constexpr uint16_t doneType = 3;           // NLMSG_DONE
    static constexpr uint16_t newLinkType = 16;       // RTM_NEWLINK
    static constexpr uint16_t newRouteType = 24;      // RTM_NEWROUTE
    static constexpr size_t linkHeaderSize = 16;      // struct ifinfomsg
    static constexpr size_t linkIndexOffset = 4;      // ifi_index
    static constexpr size_t routeHeaderSize = 12;     // struct rtmsg
    static constexpr size_t attributeHeaderSize = 4;  // struct rtattr
    static constexpr uint16_t nameAttribute = 3;      // IFLA_IFNAME
    static constexpr uint16_t stats64Attribute = 23;  // IFLA_STATS64
    static constexpr size_t stats64RxBytesOffset = 16;  // rtnl_link_stats64.rx_bytes
    static constexpr size_t stats64TxBytesOffset = 24;  // rtnl_link_stats64.tx_bytes
    static constexpr uint16_t newStatsType = 92;       // RTM_NEWSTATS
    static constexpr size_t statsHeaderSize = 12;     // struct if_stats_msg
    static constexpr size_t statsIndexOffset = 4;     // ifindex
    static constexpr uint16_t statsLink64Attribute = 1;  // IFLA_STATS_LINK_64, a rtnl_link_stats64
    static constexpr uint16_t routeTableAttribute = 15;  // RTA_TABLE
    static constexpr uint16_t routeOutputAttribute = 4;  // RTA_OIF
    static constexpr uint16_t routePriorityAttribute = 6;  // RTA_PRIORITY
    static constexpr uint16_t routeDestinationAttribute = 1;  // RTA_DST
    static constexpr uint16_t routeMultipathAttribute = 9;    // RTA_MULTIPATH: struct rtnexthop, each with attributes
    static constexpr size_t nexthopHeaderSize = 8;            // struct rtnexthop
    static constexpr size_t nexthopInterfaceOffset = 4;       // rtnh_ifindex
    static constexpr uint32_t mainTable = 254;            // RT_TABLE_MAIN
    static constexpr uint8_t unicastRoute = 1;            // RTN_UNICAST

    // What one datagram said about the dump it belongs to: more datagrams
    // follow, or NLMSG_DONE ended it.
    enum class Step { more, done };

    // The error of a datagram whose messages ran past it or were short, in
    // a category of its own so that it is never taken for an errno the
    // kernel sent.
    static std::error_code malformed();

    // Hands each message of `datagram` whose sequence is `sequence` (every
    // message when absent, as for multicast notifications) to `visit`,
    // which answers false for a payload it cannot read: that message is
    // skipped, counted in `skipped` when given, and the walk goes on, since
    // its header still says where the next one starts. A header that runs
    // past the datagram ends the walk with `malformed()`; NLMSG_DONE ends it
    // with `done`, NLMSG_ERROR with its errno.
    using MessageVisitor = std::function<bool(uint16_t type, std::span<const uint8_t> payload)>;
    static Result<Step> messages(std::span<const uint8_t> datagram, std::optional<uint32_t> sequence,
                                 const MessageVisitor& visit, size_t* skipped = nullptr);

    // Calls `attribute(type, value)` for each rtattr/nlattr in `attributes`
    // (the nested and byte-order flags masked off); false when one runs past
    // the end.
    template <class F>
    static bool forEachAttribute(std::span<const uint8_t> attributes, F attribute) {
        size_t offset = 0;
        while (attributes.size() - offset >= attributeHeaderSize) {
            const auto length = ByteDecoding::loadNative<uint16_t>(attributes, offset);
            const auto type = ByteDecoding::loadNative<uint16_t>(attributes, offset + 2);
            if (!length || !type || *length < attributeHeaderSize || *length > attributes.size() - offset) {
                return false;
            }
            attribute(uint16_t(*type & 0x3fff),
                      attributes.subspan(offset + attributeHeaderSize, *length - attributeHeaderSize));
            offset += std::min(align4(*length), attributes.size() - offset);
        }
        return true;
    }

    // NLMSG_ALIGN and RTA_ALIGN: every message and attribute starts on 4 bytes.
    static constexpr size_t align4(size_t length) { return (length + 3) & ~size_t(3); }

    // A dump is read one datagram at a time, each decoded into the entries
    // gathered so far: `out` collects the whole dump, and what was decoded
    // before a malformed message stands. The error is the errno of an
    // NLMSG_ERROR (generic category) or `malformed()`.

    // Appends the links of `datagram`'s messages with sequence `sequence`.
    static Result<Step> links(std::span<const uint8_t> datagram, uint32_t sequence, std::vector<NetlinkLink>& out);

    // Appends the IFLA_STATS_LINK_64 counters of `datagram`'s RTM_NEWSTATS
    // messages with sequence `sequence`; a message without them is skipped.
    static Result<Step> stats(std::span<const uint8_t> datagram, uint32_t sequence, std::vector<NetlinkStats>& out);

    // Appends the routes of `datagram`'s messages with sequence `sequence`.
    // A multipath route without RTA_OIF takes its first nexthop's interface.
    static Result<Step> routes(std::span<const uint8_t> datagram, uint32_t sequence, std::vector<NetlinkRoute>& out);

    // The output interface of the main table's default unicast route of
    // `family` with the lowest priority; absent when there is none.
    static std::optional<int32_t> defaultRouteInterface(const std::vector<NetlinkRoute>& routes, uint8_t family);

    static constexpr uint8_t inetFamily = 2;    // AF_INET
    static constexpr uint8_t inet6Family = 10;  // AF_INET6 on Linux

    // The primary interface's index: the IPv4 default route's, else the
    // IPv6 one's.
    static std::optional<int32_t> primaryInterface(const std::vector<NetlinkRoute>& routes);
};

}  // namespace orv
