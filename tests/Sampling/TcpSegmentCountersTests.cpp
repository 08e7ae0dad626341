#include <gtest/gtest.h>

#include "Sampling/TcpSegmentCounters.h"

namespace orv {
namespace {

// proc/net/snmp as a 6.x kernel writes it (lines cut short where nothing
// is read).
constexpr const char* snmp =
    "Ip: Forwarding DefaultTTL InReceives InHdrErrors\n"
    "Ip: 1 64 945120 0\n"
    "Tcp: RtoAlgorithm RtoMin RtoMax MaxConn ActiveOpens PassiveOpens AttemptFails EstabResets CurrEstab InSegs "
    "OutSegs RetransSegs InErrs OutRsts InCsumErrors\n"
    "Tcp: 1 200 120000 -1 67845 41048 5 77438 0 408162 541914 152 0 40591 0\n"
    "Udp: InDatagrams NoPorts InErrors OutDatagrams\n"
    "Udp: 1046 12 0 1058\n";

TEST(TcpSegmentCounters, ReadsInSegsAndOutSegsByTheirNames) {
    auto counters = TcpSegmentCounters::decode(snmp);
    ASSERT_TRUE(counters);
    EXPECT_EQ(counters->received, 408162u);
    EXPECT_EQ(counters->sent, 541914u);
}

TEST(TcpSegmentCounters, ConnectionsMadeAreActivePlusPassiveOpens) {
    auto counters = TcpSegmentCounters::decode(snmp);
    ASSERT_TRUE(counters);
    EXPECT_EQ(counters->opened, std::optional<uint64_t>(67845u + 41048u));
    // Without either count the segments still stand, and the opens are unknown.
    auto partial = TcpSegmentCounters::decode("Tcp: ActiveOpens InSegs OutSegs\nTcp: 5 1 2\n");
    ASSERT_TRUE(partial);
    EXPECT_EQ(partial->received, 1u);
    EXPECT_FALSE(partial->opened);
    auto unreadable = TcpSegmentCounters::decode("Tcp: ActiveOpens PassiveOpens InSegs OutSegs\nTcp: 5 x 1 2\n");
    ASSERT_TRUE(unreadable);
    EXPECT_FALSE(unreadable->opened);
}

TEST(TcpSegmentCounters, FieldsAreFoundWhereverTheNamesPutThem) {
    auto counters = TcpSegmentCounters::decode("Tcp: OutSegs MaxConn InSegs\nTcp: 7 -1 18446744073709551615\n");
    ASSERT_TRUE(counters);
    EXPECT_EQ(counters->received, 18446744073709551615u);
    EXPECT_EQ(counters->sent, 7u);
}

TEST(TcpSegmentCounters, MissingOrMalformedCountersAreAbsent) {
    EXPECT_FALSE(TcpSegmentCounters::decode(""));
    EXPECT_FALSE(TcpSegmentCounters::decode("Udp: InDatagrams\nUdp: 4\n"));
    EXPECT_FALSE(TcpSegmentCounters::decode("Tcp: InSegs OutSegs\n"));                 // no values
    EXPECT_FALSE(TcpSegmentCounters::decode("Tcp: InSegs OutSegs\nTcp: 12\n"));        // cut short
    EXPECT_FALSE(TcpSegmentCounters::decode("Tcp: InSegs OutSegs\nTcp: 12 x4\n"));     // not a number
    EXPECT_FALSE(TcpSegmentCounters::decode("Tcp: InSegs Other\nTcp: 12 13\n"));       // no OutSegs
}

}  // namespace
}  // namespace orv
