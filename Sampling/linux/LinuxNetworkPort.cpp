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
#include <unordered_set>
#include <vector>

#include "Sampling/NetlinkDecoding.h"
#include "Sampling/NetworkPort.h"
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
static_assert(AF_INET == NetlinkDecoding::inetFamily && AF_INET6 == NetlinkDecoding::inet6Family);
static_assert(RT_TABLE_MAIN == NetlinkDecoding::mainTable && RTN_UNICAST == NetlinkDecoding::unicastRoute);

namespace {

// Owns the rtnetlink socket; nothing else closes it.
class NetlinkSocket {
public:
    NetlinkSocket() = default;
    NetlinkSocket(const NetlinkSocket&) = delete;
    NetlinkSocket& operator=(const NetlinkSocket&) = delete;
    ~NetlinkSocket() { reset(); }

    // Opens and binds on first use, joining the multicast `groups`;
    // throws SamplingError.
    mnl_socket* get(unsigned groups = 0) {
        if (socket_) return socket_;
        mnl_socket* opened = mnl_socket_open(NETLINK_ROUTE);
        if (!opened) throw SamplingError::sysctl("NETLINK_ROUTE", errno);
        if (mnl_socket_bind(opened, groups, MNL_SOCKET_AUTOPID) < 0) {
            int saved = errno;
            mnl_socket_close(opened);
            throw SamplingError::sysctl("NETLINK_ROUTE", saved);
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
// The primary interface comes from an RTM_GETROUTE dump under the same
// rule. An interface counts when it is a physical device, which sysfs
// shows as a `device` link below sys/class/net/<name>.
class LinuxNetworkPort : public NetworkPort {
public:
    // The kernel fills dump datagrams up to 32 KiB when the reader's buffer
    // allows it (libmnl's later MNL_SOCKET_DUMP_SIZE), so fewer reads per dump.
    static constexpr size_t dumpBufferSize = 32768;

    explicit LinuxNetworkPort(const std::filesystem::path& root)
        : classNet_(root / "sys/class/net"), receive_(dumpBufferSize) {}

    void readCounters(InterfaceCounterMap& out) override {
        out.clear();
        if (drainAnnouncements() || !namesKnown_ || !statsDumps_ || !readStats(out)) readLinks(out);
        prunePhysical(out);
    }

    bool counts(const std::string& name) override {
        auto known = physical_.find(name);
        if (known != physical_.end()) return known->second;
        struct stat info;
        bool isPhysical = ::stat((classNet_ / name / "device").c_str(), &info) == 0;
        physical_.emplace(name, isPhysical);
        return isPhysical;
    }

    std::optional<std::string> primaryInterface() override {
        if (!primaryKnown_) {
            routes_.clear();
            try {
                dump(RTM_GETROUTE, 0, [&](std::span<const uint8_t> datagram, uint32_t sequence) {
                    return NetlinkDecoding::routes(datagram, sequence, routes_);
                });
                primaryIndex_ = NetlinkDecoding::primaryInterface(routes_);
                primaryKnown_ = true;
            } catch (const SamplingError&) {
                primaryKnown_ = false;
                return std::nullopt;
            }
        }
        auto index = primaryIndex_;
        if (!index) return std::nullopt;
        if (auto name = names_.find(*index); name != names_.end()) return name->second;
        char buffer[IF_NAMESIZE] = {};
        if (if_indextoname(unsigned(*index), buffer)) return std::string(buffer);
        return std::nullopt;
    }

private:
    // Reads what the kernel announced since the last sample; true when a
    // link or route changed (or announcements were lost: ENOBUFS), which
    // makes the names and the primary interface stale.
    bool drainAnnouncements() {
        mnl_socket* listener = nullptr;
        try {
            listener = watcher_.get(RTMGRP_LINK | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE);
        } catch (const SamplingError&) {
            return stale();  // no announcements: everything is dumped every time
        }
        bool changed = false;
        for (;;) {
            ssize_t got = ::recv(mnl_socket_get_fd(listener), receive_.data(), receive_.size(), MSG_DONTWAIT);
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
    void readLinks(InterfaceCounterMap& out) {
        out.clear();
        links_.clear();
        namesKnown_ = false;
        dump(RTM_GETLINK, 0, [&](std::span<const uint8_t> datagram, uint32_t sequence) {
            return NetlinkDecoding::links(datagram, sequence, links_);
        });
        names_.clear();
        for (auto& link : links_) {
            names_[link.index] = link.name;
            if (link.counters) out.insert_or_assign(link.name, *link.counters);
        }
        namesKnown_ = true;
    }

    // Counters alone, named by the last link dump; false when one belongs
    // to an interface that dump did not know.
    // Kernels before 4.7 have no RTM_GETSTATS; they get the link dump.
    bool readStats(InterfaceCounterMap& out) {
        stats_.clear();
        try {
            dump(RTM_GETSTATS, 1u << (IFLA_STATS_LINK_64 - 1), [&](std::span<const uint8_t> datagram, uint32_t sequence) {
                return NetlinkDecoding::stats(datagram, sequence, stats_);
            });
        } catch (const SamplingError&) {
            statsDumps_ = false;
            return false;
        }
        for (const auto& entry : stats_) {
            auto name = names_.find(entry.index);
            if (name == names_.end()) return false;
            out.insert_or_assign(name->second, entry.counters);
        }
        return true;
    }

    // `statsFilter` is if_stats_msg's filter_mask for RTM_GETSTATS.
    template <class Decode>
    void dump(uint16_t type, uint32_t statsFilter, Decode decode) {
        mnl_socket* socket = socket_.get();
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
        if (mnl_socket_sendto(socket, header, header->nlmsg_len) < 0) fail(errno);
        for (;;) {
            ssize_t got = mnl_socket_recvfrom(socket, receive_.data(), receive_.size());
            if (got < 0) fail(errno);
            NetlinkDecoding::Progress progress =
                decode(std::span<const uint8_t>(receive_.data(), size_t(got)), sequence);
            if (progress.error != 0) fail(progress.error);
            if (progress.malformed) {
                // What was decoded stands; the rest of this dump is dropped
                // with the socket so that the next one starts clean.
                socket_.reset();
                return;
            }
            if (progress.done) return;
        }
    }

    [[noreturn]] void fail(int error) {
        socket_.reset();
        throw SamplingError::sysctl("NETLINK_ROUTE", error);
    }

    // Forgets the physical-device answers of names no longer present, so a
    // name reused by another device is looked at again.
    void prunePhysical(const InterfaceCounterMap& present) {
        for (auto it = physical_.begin(); it != physical_.end();) {
            if (present.count(it->first)) ++it;
            else it = physical_.erase(it);
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
    std::unordered_map<std::string, bool> physical_;
};

}  // namespace

std::unique_ptr<NetworkPort> makeNetworkPort(const std::filesystem::path& root) {
    return std::make_unique<LinuxNetworkPort>(root);
}

}  // namespace orv
