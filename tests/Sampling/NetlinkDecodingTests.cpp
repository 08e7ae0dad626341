#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "Sampling/NetlinkDecoding.h"
#include "support/TempDir.h"

namespace orv {
namespace {

std::vector<uint8_t> readFixture(const char* name) {
    std::ifstream file(test::fixture(std::string("network/") + name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Hand-built rtnetlink messages.
// Appends `size` bytes and pads to the 4-byte alignment netlink uses.
void put(std::vector<uint8_t>& bytes, const void* data, size_t size) {
    const size_t at = bytes.size();
    bytes.resize(at + ((size + 3) & ~size_t(3)), 0);
    if (size) std::memcpy(bytes.data() + at, data, size);
}

std::vector<uint8_t> attribute(uint16_t type, const void* data, size_t size) {
    std::vector<uint8_t> bytes;
    uint16_t header[2] = {uint16_t(4 + size), type};
    put(bytes, header, 4);
    put(bytes, data, size);
    return bytes;
}

std::vector<uint8_t> message(uint16_t type, uint32_t sequence, const std::vector<uint8_t>& payload) {
    std::vector<uint8_t> bytes(16, 0);
    uint32_t length = uint32_t(16 + payload.size());
    std::memcpy(bytes.data(), &length, 4);
    std::memcpy(bytes.data() + 4, &type, 2);
    std::memcpy(bytes.data() + 8, &sequence, 4);
    put(bytes, payload.data(), payload.size());
    return bytes;
}

std::vector<uint8_t> link(int32_t index, const char* name, uint64_t rx, uint64_t tx) {
    std::vector<uint8_t> payload(16, 0);
    std::memcpy(payload.data() + 4, &index, 4);
    auto nameAttribute = attribute(3, name, std::strlen(name) + 1);
    payload.insert(payload.end(), nameAttribute.begin(), nameAttribute.end());
    uint64_t stats[24] = {};
    stats[2] = rx;
    stats[3] = tx;
    auto statsAttribute = attribute(23, stats, sizeof stats);
    payload.insert(payload.end(), statsAttribute.begin(), statsAttribute.end());
    return payload;
}

std::vector<uint8_t> route(uint8_t family, uint8_t destinationLength, int32_t outputInterface, uint32_t priority) {
    std::vector<uint8_t> payload(12, 0);
    payload[0] = family;
    payload[1] = destinationLength;
    payload[4] = 254;  // main table
    payload[7] = 1;    // unicast
    auto oif = attribute(4, &outputInterface, 4);
    payload.insert(payload.end(), oif.begin(), oif.end());
    auto metric = attribute(6, &priority, 4);
    payload.insert(payload.end(), metric.begin(), metric.end());
    return payload;
}

std::vector<uint8_t> concat(std::initializer_list<std::vector<uint8_t>> parts) {
    std::vector<uint8_t> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST(NetlinkDecoding, CapturedLinkDumpGivesEveryInterface) {
    auto dump = readFixture("getlink-dump.bin");
    ASSERT_FALSE(dump.empty());
    std::vector<NetlinkLink> links;
    auto progress = NetlinkDecoding::links(dump, 7, links);
    ASSERT_TRUE(progress);
    EXPECT_EQ(*progress, NetlinkDecoding::Step::done);
    ASSERT_EQ(links.size(), 4u);
    EXPECT_EQ(links[0].name, "lo");
    EXPECT_EQ(links[0].counters, (InterfaceCounters{3267, 3267}));
    EXPECT_EQ(links[3].name, "eth0");
    EXPECT_EQ(links[3].index, 4);
    EXPECT_EQ(links[3].counters, (InterfaceCounters{103332010, 90365}));
}

TEST(NetlinkDecoding, CapturedRouteDumpNamesTheIPv4DefaultRoute) {
    auto dump = readFixture("getroute-dump.bin");
    std::vector<NetlinkRoute> routes;
    auto progress = NetlinkDecoding::routes(dump, 8, routes);
    ASSERT_TRUE(progress);
    EXPECT_EQ(*progress, NetlinkDecoding::Step::done);
    EXPECT_EQ(NetlinkDecoding::primaryInterface(routes), 4);
    EXPECT_EQ(NetlinkDecoding::defaultRouteInterface(routes, NetlinkDecoding::inet6Family), 4);
}

TEST(NetlinkDecoding, HandBuiltLinksAndDone) {
    auto datagram = concat({message(16, 1, link(2, "enp3s0", 500, 600)), message(3, 1, std::vector<uint8_t>(4, 0))});
    std::vector<NetlinkLink> links;
    auto progress = NetlinkDecoding::links(datagram, 1, links);
    EXPECT_EQ(progress.value(), NetlinkDecoding::Step::done);
    ASSERT_EQ(links.size(), 1u);
    EXPECT_EQ(links[0], (NetlinkLink{2, "enp3s0", InterfaceCounters{500, 600}}));
}

TEST(NetlinkDecoding, MessagesOfAnotherSequenceAreIgnored) {
    auto datagram = concat({message(16, 9, link(2, "stale0", 1, 1)), message(16, 1, link(3, "eth1", 2, 2))});
    std::vector<NetlinkLink> links;
    auto progress = NetlinkDecoding::links(datagram, 1, links);
    EXPECT_EQ(progress.value(), NetlinkDecoding::Step::more);
    ASSERT_EQ(links.size(), 1u);
    EXPECT_EQ(links[0].name, "eth1");
}

TEST(NetlinkDecoding, ErrorMessageGivesItsErrno) {
    int32_t error[4] = {-95, 0, 0, 0};  // EOPNOTSUPP
    std::vector<uint8_t> payload;
    put(payload, error, sizeof error);
    std::vector<NetlinkLink> links;
    EXPECT_EQ(NetlinkDecoding::links(message(2, 1, payload), 1, links).error(), errorFrom(95));
}

TEST(NetlinkDecoding, ErrorMessageWithoutANegativeErrnoIsAProtocolError) {
    int32_t acknowledgement[4] = {0, 0, 0, 0};
    std::vector<uint8_t> payload;
    put(payload, acknowledgement, sizeof acknowledgement);
    std::vector<NetlinkLink> links;
    EXPECT_EQ(NetlinkDecoding::links(message(2, 1, payload), 1, links).error(), errorFrom(EPROTO));
}

TEST(NetlinkDecoding, MalformedIsNeverTakenForAKernelErrno) {
    EXPECT_NE(NetlinkDecoding::malformed(), errorFrom(EBADMSG));
    EXPECT_NE(NetlinkDecoding::malformed(), errorFrom(1));
}

TEST(NetlinkDecoding, TruncatedMessageIsMalformedAndKeepsWhatWasRead) {
    auto datagram = concat({message(16, 1, link(2, "eth0", 1, 1)), message(16, 1, link(3, "eth1", 2, 2))});
    datagram.resize(datagram.size() - 40);
    std::vector<NetlinkLink> links;
    auto progress = NetlinkDecoding::links(datagram, 1, links);
    EXPECT_EQ(progress.error(), NetlinkDecoding::malformed());
    ASSERT_EQ(links.size(), 1u);
    EXPECT_EQ(links[0].name, "eth0");
}

TEST(NetlinkDecoding, AttributeRunningPastItsMessageIsMalformed) {
    auto payload = link(2, "eth0", 1, 1);
    uint16_t bogus = 2000;
    std::memcpy(payload.data() + 16, &bogus, 2);
    std::vector<NetlinkLink> links;
    EXPECT_EQ(NetlinkDecoding::links(message(16, 1, payload), 1, links).error(), NetlinkDecoding::malformed());
    EXPECT_TRUE(links.empty());
}

TEST(NetlinkDecoding, LinkWithoutStats64HasNoCounters) {
    std::vector<uint8_t> payload(16, 0);
    auto name = attribute(3, "tun0", 5);
    payload.insert(payload.end(), name.begin(), name.end());
    std::vector<NetlinkLink> links;
    EXPECT_TRUE(NetlinkDecoding::links(message(16, 1, payload), 1, links));
    ASSERT_EQ(links.size(), 1u);
    EXPECT_FALSE(links[0].counters);
}

std::vector<uint8_t> statsMessage(int32_t index, uint64_t rx, uint64_t tx) {
    std::vector<uint8_t> payload(12, 0);
    std::memcpy(payload.data() + 4, &index, 4);
    uint64_t stats[24] = {};
    stats[2] = rx;
    stats[3] = tx;
    auto link64 = attribute(1, stats, sizeof stats);
    payload.insert(payload.end(), link64.begin(), link64.end());
    return payload;
}

TEST(NetlinkDecoding, StatsMessagesGiveCountersByIndex) {
    auto datagram = concat({message(92, 4, statsMessage(1, 10, 20)), message(92, 4, statsMessage(4, 3000, 4000)),
                            message(3, 4, std::vector<uint8_t>(4, 0))});
    std::vector<NetlinkStats> stats;
    auto progress = NetlinkDecoding::stats(datagram, 4, stats);
    EXPECT_EQ(progress.value(), NetlinkDecoding::Step::done);
    ASSERT_EQ(stats.size(), 2u);
    EXPECT_EQ(stats[1], (NetlinkStats{4, InterfaceCounters{3000, 4000}}));
}

TEST(NetlinkDecoding, StatsMessageWithoutLink64IsSkipped) {
    std::vector<uint8_t> payload(12, 0);
    std::vector<NetlinkStats> stats;
    EXPECT_TRUE(NetlinkDecoding::stats(message(92, 1, payload), 1, stats));
    EXPECT_TRUE(stats.empty());
    std::vector<uint8_t> shortPayload(8, 0);
    EXPECT_EQ(NetlinkDecoding::stats(message(92, 1, shortPayload), 1, stats).error(), NetlinkDecoding::malformed());
}

TEST(NetlinkDecoding, IPv6DefaultRouteWhenIPv4HasNone) {
    auto datagram = concat({message(24, 1, route(2, 24, 2, 0)),     // an IPv4 subnet, not a default
                            message(24, 1, route(10, 0, 5, 1024))});  // the IPv6 default
    std::vector<NetlinkRoute> routes;
    EXPECT_TRUE(NetlinkDecoding::routes(datagram, 1, routes));
    EXPECT_EQ(NetlinkDecoding::primaryInterface(routes), 5);
}

TEST(NetlinkDecoding, LowestPriorityDefaultRouteWins) {
    auto datagram = concat({message(24, 1, route(2, 0, 3, 600)), message(24, 1, route(2, 0, 2, 100))});
    std::vector<NetlinkRoute> routes;
    EXPECT_TRUE(NetlinkDecoding::routes(datagram, 1, routes));
    EXPECT_EQ(NetlinkDecoding::primaryInterface(routes), 2);
}

// A default route over two nexthops, as `ip route add default nexthop dev
// wg0 nexthop via … dev eth0` makes it: no RTA_OIF, an RTA_MULTIPATH of
// struct rtnexthop entries instead.
TEST(NetlinkDecoding, MultipathDefaultRouteGoesOutOfItsFirstNexthop) {
    std::vector<uint8_t> payload(12, 0);
    payload[0] = 2;
    payload[4] = 254;
    payload[7] = 1;
    std::vector<uint8_t> nexthops;
    for (int32_t index : {7, 3}) {
        uint8_t hop[16] = {};
        const uint16_t length = 16;
        std::memcpy(hop, &length, 2);
        std::memcpy(hop + 4, &index, 4);
        const uint32_t gateway = 0x0101a8c0;
        const uint16_t gatewayAttribute[2] = {8, 5};  // RTA_GATEWAY
        std::memcpy(hop + 8, gatewayAttribute, 4);
        std::memcpy(hop + 12, &gateway, 4);
        nexthops.insert(nexthops.end(), hop, hop + 16);
    }
    auto multipath = attribute(9, nexthops.data(), nexthops.size());
    payload.insert(payload.end(), multipath.begin(), multipath.end());
    std::vector<NetlinkRoute> routes;
    EXPECT_TRUE(NetlinkDecoding::routes(message(24, 1, payload), 1, routes));
    ASSERT_EQ(routes.size(), 1u);
    EXPECT_EQ(routes[0].outputInterface, 7);
    EXPECT_EQ(NetlinkDecoding::primaryInterface(routes), 7);

    // A nexthop cut short names nothing.
    std::vector<uint8_t> cut(12, 0);
    cut[0] = 2;
    cut[4] = 254;
    cut[7] = 1;
    auto shortHop = attribute(9, nexthops.data(), 4);
    cut.insert(cut.end(), shortHop.begin(), shortHop.end());
    routes.clear();
    EXPECT_TRUE(NetlinkDecoding::routes(message(24, 1, cut), 1, routes));
    EXPECT_FALSE(NetlinkDecoding::primaryInterface(routes));
}

TEST(NetlinkDecoding, NoDefaultRouteIsAbsent) {
    std::vector<NetlinkRoute> routes;
    EXPECT_TRUE(NetlinkDecoding::routes(message(24, 1, route(2, 8, 1, 0)), 1, routes));
    EXPECT_FALSE(NetlinkDecoding::primaryInterface(routes));
}

}  // namespace
}  // namespace orv
