#include <libmnl/libmnl.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <cerrno>
#include <cstddef>
#include <unordered_map>
#include <vector>

#include "Sampling/NetlinkDecoding.h"
#include "Sampling/NetworkPort.h"
#include "core/Result.h"
#include "core/SamplingError.h"

namespace orv {

// The portable decoder names the kernel's layouts itself; hold it to them.
static_assert(sizeof(nlmsghdr) == NetlinkDecoding::headerSize);
static_assert(NLMSG_ERROR == NetlinkDecoding::errorType && NLMSG_DONE == NetlinkDecoding::doneType);
static_assert(RTM_NEWLINK == NetlinkDecoding::newLinkType && RTM_NEWROUTE == NetlinkDecoding::newRouteType);
static_assert(sizeof(ifinfomsg) == NetlinkDecoding::linkHeaderSize);
static_assert(offsetof(ifinfomsg, ifi_index) == NetlinkDecoding::linkIndexOffset);
static_assert(sizeof(rtmsg) == NetlinkDecoding::routeHeaderSize);
static_assert(offsetof(rtmsg, rtm_table) == 4 && offsetof(rtmsg, rtm_type) == 7);
static_assert(sizeof(rtattr) == NetlinkDecoding::attributeHeaderSize);
static_assert(IFLA_IFNAME == NetlinkDecoding::nameAttribute && IFLA_STATS64 == NetlinkDecoding::stats64Attribute);
static_assert(offsetof(rtnl_link_stats64, rx_bytes) == NetlinkDecoding::stats64RxBytesOffset);
static_assert(offsetof(rtnl_link_stats64, tx_bytes) == NetlinkDecoding::stats64TxBytesOffset);
static_assert(RTM_NEWSTATS == NetlinkDecoding::newStatsType && sizeof(if_stats_msg) == NetlinkDecoding::statsHeaderSize);
static_assert(offsetof(if_stats_msg, ifindex) == NetlinkDecoding::statsIndexOffset);
static_assert(IFLA_STATS_LINK_64 == NetlinkDecoding::statsLink64Attribute);
static_assert(RTA_TABLE == NetlinkDecoding::routeTableAttribute && RTA_OIF == NetlinkDecoding::routeOutputAttribute);
static_assert(RTA_PRIORITY == NetlinkDecoding::routePriorityAttribute);
static_assert(RTA_DST == NetlinkDecoding::routeDestinationAttribute && RTA_MULTIPATH == NetlinkDecoding::routeMultipathAttribute);
static_assert(sizeof(rtnexthop) == NetlinkDecoding::nexthopHeaderSize &&
              offsetof(rtnexthop, rtnh_ifindex) == NetlinkDecoding::nexthopInterfaceOffset);
static_assert(AF_INET == NetlinkDecoding::inetFamily && AF_INET6 == NetlinkDecoding::inet6Family);
static_assert(RT_TABLE_MAIN == NetlinkDecoding::mainTable && RTN_UNICAST == NetlinkDecoding::unicastRoute);

namespace {

// The name a request is reported under in a SamplingError.
const char* requestName(uint16_t type) {
    switch (type) {
        case RTM_GETLINK: return "RTM_GETLINK";
        case RTM_GETSTATS: return "RTM_GETSTATS";
        case RTM_GETROUTE: return "RTM_GETROUTE";
        default: return "NETLINK_ROUTE";
    }
}

// Owns the rtnetlink socket; nothing else closes it.
class NetlinkSocket {
public:
    NetlinkSocket() = default;
    NetlinkSocket(const NetlinkSocket&) = delete;
    NetlinkSocket& operator=(const NetlinkSocket&) = delete;
    ~NetlinkSocket() { reset(); }

    // Opens and binds on first use, joining the multicast `groups`.
    Result<mnl_socket*> get(unsigned groups = 0) {
        if (socket_) return socket_;
        mnl_socket* opened = mnl_socket_open(NETLINK_ROUTE);
        if (!opened) return lastError();
        if (mnl_socket_bind(opened, groups, MNL_SOCKET_AUTOPID) < 0) {
            const auto error = lastError();
            mnl_socket_close(opened);
            return error;
        }
        // The kernel answers a dump at once; the bound only keeps a wedged
        // socket from stalling the sampling thread.
        timeval timeout{1, 0};
        setsockopt(mnl_socket_get_fd(opened), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        socket_ = opened;
        return socket_;
    }

    void reset() {
        if (socket_) mnl_socket_close(socket_);
        socket_ = nullptr;
    }

private:
    mnl_socket* socket_ = nullptr;
};

// The interfaces' names and counters come from an RTM_GETLINK dump, into a
// receive buffer kept between samples. That dump costs about 20 µs here,
// most of it attributes we do not read, so it is repeated only when the
// kernel announced a link or route change (on a socket that listens to
// those groups) or a counter names an unknown interface; in between, an
// RTM_GETSTATS dump of just the 64-bit link counters (about 4 µs) serves.
// The primary interface is the kernel's own answer to "which way to the
// internet": RTM_GETROUTE for one fixed public address per family, as
// `ip route get` asks, so policy routing (a full-tunnel WireGuard or
// Tailscale route in a table of its own) and multipath routes name the
// interface traffic really takes. Where the kernel will not answer that, the
// main table's default route from an RTM_GETROUTE dump serves. Both are
// asked again only after an announced link, route or rule change. An interface counts when it is a physical device, which sysfs
// shows as a `device` link below sys/class/net/<name>.
//
// Every step below the port's two reads answers with a Result; only
// readCounters, the sampler's primary read, turns a failure into a thrown
// SamplingError, and the fallbacks (no RTM_GETSTATS, no announcements) are
// plain branches.
class LinuxNetworkPort : public NetworkPort {
public:
    // The kernel fills dump datagrams up to 32 KiB when the reader's buffer
    // allows it (libmnl's later MNL_SOCKET_DUMP_SIZE), so fewer reads per dump.
    static constexpr size_t dumpBufferSize = 32768;

    explicit LinuxNetworkPort(const std::filesystem::path& root)
        : classNet_(root / "sys/class/net"), receive_(dumpBufferSize) {}

    InterfaceCounterMap readCounters(CountedDeviceCache<std::string>& counted) override {
        std::optional<InterfaceCounterMap> counters;
        if (!drainAnnouncements() && namesKnown_ && statsDumps_) counters = readStats();
        if (!counters) counters = readLinks().value();
        std::erase_if(*counters, [&](const auto& entry) {
            return !counted.counts(entry.first, [&] { return isPhysical(entry.first); });
        });
        return std::move(*counters);
    }

    std::optional<std::string> primaryInterface() override {
        if (!primaryKnown_) {
            primaryIndex_ = routeTo(AF_INET);
            if (!primaryIndex_) primaryIndex_ = routeTo(AF_INET6);
            if (!primaryIndex_) {
                routes_.clear();
                auto dumped = dump(RTM_GETROUTE, 0, [&](std::span<const uint8_t> datagram, uint32_t sequence) {
                    return NetlinkDecoding::routes(datagram, sequence, routes_);
                });
                // No route dump, no primary interface; it is asked again next time.
                if (!dumped) return std::nullopt;
                primaryIndex_ = NetlinkDecoding::primaryInterface(routes_);
            }
            primaryKnown_ = true;
        }
        auto index = primaryIndex_;
        if (!index) return std::nullopt;
        if (auto name = names_.find(*index); name != names_.end()) return name->second;
        char buffer[IF_NAMESIZE] = {};
        if (if_indextoname(unsigned(*index), buffer)) return std::string(buffer);
        return std::nullopt;
    }

private:
    // The output interface of the route the kernel picks for a public
    // address of `family` (1.1.1.1, 2606:4700:4700::1111; nothing is sent
    // there, the kernel only looks the route up); absent when the kernel
    // has no route there (it answers ENETUNREACH) or the answer is not a
    // unicast route out of an interface.
    std::optional<int32_t> routeTo(uint8_t family) {
        auto socket = socket_.get();
        if (!socket) return std::nullopt;
        const uint32_t sequence = ++sequence_;
        alignas(nlmsghdr) uint8_t request[NLMSG_SPACE(sizeof(rtmsg) + RTA_SPACE(16))] = {};
        nlmsghdr* header = mnl_nlmsg_put_header(request);
        header->nlmsg_type = RTM_GETROUTE;
        header->nlmsg_flags = NLM_F_REQUEST;
        header->nlmsg_seq = sequence;
        auto* message = static_cast<rtmsg*>(mnl_nlmsg_put_extra_header(header, sizeof(rtmsg)));
        message->rtm_family = family;
        if (family == AF_INET) {
            static constexpr uint8_t address[4] = {1, 1, 1, 1};
            message->rtm_dst_len = 32;
            mnl_attr_put(header, RTA_DST, sizeof address, address);
        } else {
            static constexpr uint8_t address[16] = {0x26, 0x06, 0x47, 0x00, 0x47, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0x11, 0x11};
            message->rtm_dst_len = 128;
            mnl_attr_put(header, RTA_DST, sizeof address, address);
        }
        if (mnl_socket_sendto(*socket, header, header->nlmsg_len) < 0) {
            socket_.reset();
            return std::nullopt;
        }
        routes_.clear();
        for (;;) {
            ssize_t got = mnl_socket_recvfrom(*socket, receive_.data(), receive_.size());
            if (got < 0) {
                socket_.reset();
                return std::nullopt;
            }
            auto step = NetlinkDecoding::routes(std::span<const uint8_t>(receive_.data(), size_t(got)), sequence, routes_);
            // The answer is one RTM_NEWROUTE, or an NLMSG_ERROR.
            if (!step) {
                if (step.error() == NetlinkDecoding::malformed()) socket_.reset();
                return std::nullopt;
            }
            if (!routes_.empty() || *step == NetlinkDecoding::Step::done) break;
        }
        for (const auto& route : routes_) {
            if (route.type == NetlinkDecoding::unicastRoute && route.outputInterface) return route.outputInterface;
        }
        return std::nullopt;
    }

    bool isPhysical(const std::string& name) const {
        struct stat info;
        return ::stat((classNet_ / name / "device").c_str(), &info) == 0;
    }

    // Reads what the kernel announced since the last sample; true when a
    // link or route changed (or announcements were lost: ENOBUFS), which
    // makes the names and the primary interface stale.
    bool drainAnnouncements() {
        auto listener = watcher_.get(RTMGRP_LINK | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE | RTMGRP_IPV4_RULE);
        if (!listener) return stale();  // no announcements: everything is dumped every time
        bool changed = false;
        for (;;) {
            ssize_t got = ::recv(mnl_socket_get_fd(*listener), receive_.data(), receive_.size(), MSG_DONTWAIT);
            if (got > 0) {
                changed = true;
                continue;
            }
            if (got < 0 && errno == EINTR) continue;
            if (got < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
                watcher_.reset();
                changed = true;
            }
            return changed ? stale() : false;
        }
    }

    bool stale() {
        namesKnown_ = false;
        primaryKnown_ = false;
        return true;
    }

    // Names and counters from the full link dump.
    Result<InterfaceCounterMap, SamplingError> readLinks() {
        links_.clear();
        namesKnown_ = false;
        auto dumped = dump(RTM_GETLINK, 0, [&](std::span<const uint8_t> datagram, uint32_t sequence) {
            return NetlinkDecoding::links(datagram, sequence, links_);
        });
        if (!dumped) return dumped.error();
        InterfaceCounterMap out;
        names_.clear();
        for (auto& link : links_) {
            names_[link.index] = link.name;
            if (link.counters) out.insert_or_assign(link.name, *link.counters);
        }
        namesKnown_ = true;
        return out;
    }

    // Counters alone, named by the last link dump; absent when the link
    // dump must serve instead: one belongs to an interface that dump did not
    // know, or the kernel has no RTM_GETSTATS (before 4.7), which is then
    // not asked again.
    std::optional<InterfaceCounterMap> readStats() {
        stats_.clear();
        auto dumped = dump(RTM_GETSTATS, 1u << (IFLA_STATS_LINK_64 - 1),
                           [&](std::span<const uint8_t> datagram, uint32_t sequence) {
                               return NetlinkDecoding::stats(datagram, sequence, stats_);
                           });
        if (!dumped) {
            statsDumps_ = false;
            return std::nullopt;
        }
        InterfaceCounterMap out;
        for (const auto& entry : stats_) {
            auto name = names_.find(entry.index);
            if (name == names_.end()) return std::nullopt;
            out.insert_or_assign(name->second, entry.counters);
        }
        return out;
    }

    // One dump request and its replies, decoded datagram by datagram.
    // `statsFilter` is if_stats_msg's filter_mask for RTM_GETSTATS. A
    // malformed reply is not a failure: what was decoded stands, and the
    // rest of the dump is dropped with the socket so that the next one
    // starts clean.
    template <class Decode>
    Result<void, SamplingError> dump(uint16_t type, uint32_t statsFilter, Decode decode) {
        auto failed = [&](std::error_code error) {
            socket_.reset();
            return SamplingError::netlink(requestName(type), error.value());
        };
        auto socket = socket_.get();
        if (!socket) return failed(socket.error());
        const uint32_t sequence = ++sequence_;
        alignas(nlmsghdr) uint8_t request[NLMSG_SPACE(sizeof(rtmsg))] = {};
        nlmsghdr* header = mnl_nlmsg_put_header(request);
        header->nlmsg_type = type;
        header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
        header->nlmsg_seq = sequence;
        // rtmsg and if_stats_msg are the larger request headers (12 bytes);
        // the first byte is the family in all three, and AF_UNSPEC asks
        // for every family.
        static_assert(sizeof(rtmsg) == sizeof(if_stats_msg));
        auto* body = static_cast<uint8_t*>(mnl_nlmsg_put_extra_header(header, sizeof(rtmsg)));
        body[0] = AF_UNSPEC;
        if (type == RTM_GETSTATS) reinterpret_cast<if_stats_msg*>(body)->filter_mask = statsFilter;
        if (mnl_socket_sendto(*socket, header, header->nlmsg_len) < 0) return failed(lastError());
        for (;;) {
            ssize_t got = mnl_socket_recvfrom(*socket, receive_.data(), receive_.size());
            if (got < 0) return failed(lastError());
            Result<NetlinkDecoding::Step> step = decode(std::span<const uint8_t>(receive_.data(), size_t(got)), sequence);
            if (!step && step.error() == NetlinkDecoding::malformed()) {
                socket_.reset();
                return {};
            }
            if (!step) return failed(step.error());
            if (*step == NetlinkDecoding::Step::done) return {};
        }
    }

    std::filesystem::path classNet_;
    NetlinkSocket socket_;
    NetlinkSocket watcher_;
    bool primaryKnown_ = false;
    bool namesKnown_ = false;
    bool statsDumps_ = true;
    std::vector<NetlinkStats> stats_;
    std::optional<int32_t> primaryIndex_;
    std::vector<uint8_t> receive_;
    uint32_t sequence_ = 0;
    std::vector<NetlinkLink> links_;
    std::vector<NetlinkRoute> routes_;
    std::unordered_map<int32_t, std::string> names_;
};

}  // namespace

std::unique_ptr<NetworkPort> makeNetworkPort(const std::filesystem::path& root) {
    return std::make_unique<LinuxNetworkPort>(root);
}

}  // namespace orv
