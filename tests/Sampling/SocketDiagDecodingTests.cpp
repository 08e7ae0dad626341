#include <gtest/gtest.h>

#include <cerrno>
#include <algorithm>
#include <cstring>

#include "Sampling/SocketDiagDecoding.h"
#include "support/NetlinkBytes.h"

namespace orv {
namespace {

using test::DiagSocket;

DiagSocket established() {
    DiagSocket s;
    s.localPort = 40512;
    s.remotePort = 443;
    s.local = test::ipv4(10, 0, 0, 2);
    s.remote = test::ipv4(10, 0, 0, 1);
    s.cookie = 0x0000000900000001ull;
    s.uid = 1000;
    s.inode = 123456;
    s.received = 5'000'000'000ull;
    s.acked = 42;
    return s;
}

TEST(SocketDiagDecoding, ReadsEveryFieldOfAnEstablishedSocket) {
    auto socket = SocketDiagDecoding::socket(test::diagPayload(established()));
    ASSERT_TRUE(socket);
    EXPECT_EQ(socket->family, NetlinkDecoding::inetFamily);
    EXPECT_EQ(socket->state, 1);
    EXPECT_EQ(socket->localPort, 40512);
    EXPECT_EQ(socket->remotePort, 443);
    EXPECT_EQ(socket->localAddressText(), "10.0.0.2");
    EXPECT_EQ(socket->cookie, 0x0000000900000001ull);  // high word second
    EXPECT_EQ(socket->uid, 1000u);
    EXPECT_EQ(socket->inode, 123456u);
    EXPECT_EQ(socket->bytesReceived, 5'000'000'000ull);
    EXPECT_EQ(socket->bytesAcked, 42u);
    EXPECT_FALSE(socket->isLoopback());
}

TEST(SocketDiagDecoding, WithoutTcpInfoTheByteCountsAreAbsent) {
    auto s = established();
    s.received.reset();
    s.acked.reset();
    auto socket = SocketDiagDecoding::socket(test::diagPayload(s));
    ASSERT_TRUE(socket);
    EXPECT_FALSE(socket->bytesReceived);
    EXPECT_FALSE(socket->bytesAcked);
}

TEST(SocketDiagDecoding, AShortTcpInfoOfAnOlderKernelGivesNoByteCounts) {
    auto s = established();
    s.infoSize = 104;  // ends before tcpi_bytes_acked
    auto socket = SocketDiagDecoding::socket(test::diagPayload(s));
    ASSERT_TRUE(socket);
    EXPECT_FALSE(socket->bytesAcked);
    EXPECT_FALSE(socket->bytesReceived);
}

TEST(SocketDiagDecoding, Ipv6AddressesAndLoopback) {
    DiagSocket s;
    s.family = 10;
    s.state = SocketDiagDecoding::listenState;
    s.localPort = 5173;
    s.local[15] = 1;   // ::1
    s.remote[15] = 1;
    auto socket = SocketDiagDecoding::socket(test::diagPayload(s));
    ASSERT_TRUE(socket);
    EXPECT_EQ(socket->localAddressText(), "::1");
    EXPECT_TRUE(socket->isLoopback());
}

TEST(SocketDiagDecoding, LoopbackNeedsBothEndsOrTheLoopbackDevice) {
    DiagSocket s;
    s.local = test::ipv4(127, 0, 0, 1);
    s.remote = test::ipv4(192, 168, 1, 5);
    auto socket = SocketDiagDecoding::socket(test::diagPayload(s));
    ASSERT_TRUE(socket);
    EXPECT_FALSE(socket->isLoopback());
    s.remote = test::ipv4(127, 3, 2, 1);
    EXPECT_TRUE(SocketDiagDecoding::socket(test::diagPayload(s))->isLoopback());
    s.remote = test::ipv4(192, 168, 1, 5);
    s.interfaceIndex = 1;
    EXPECT_TRUE(SocketDiagDecoding::socket(test::diagPayload(s))->isLoopback());
    EXPECT_FALSE(SocketDiagDecoding::socket(test::diagPayload(s))->isLoopback(7));
}

TEST(SocketDiagDecoding, AnIpv4MappedLoopbackPeerIsLoopback) {
    DiagSocket s;
    s.family = 10;
    s.local = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 127, 0, 0, 1};
    s.remote = s.local;
    EXPECT_TRUE(SocketDiagDecoding::socket(test::diagPayload(s))->isLoopback());
    s.remote[12] = 10;
    EXPECT_FALSE(SocketDiagDecoding::socket(test::diagPayload(s))->isLoopback());
}

TEST(SocketDiagDecoding, ShortUnknownFamilyAndOverrunningAttributesAreRefused) {
    auto payload = test::diagPayload(established());
    EXPECT_FALSE(SocketDiagDecoding::socket(std::span<const uint8_t>(payload).first(71)));
    auto other = payload;
    other[0] = 1;  // AF_UNIX
    EXPECT_FALSE(SocketDiagDecoding::socket(other));
    auto overrun = payload;
    overrun[72] = 0xff;  // INET_DIAG_INFO claims more bytes than follow
    overrun[73] = 0x7f;
    EXPECT_FALSE(SocketDiagDecoding::socket(overrun));
}

TEST(SocketDiagDecoding, ADumpDatagramKeepsEverySocketAroundAMalformedOne) {
    auto second = established();
    second.cookie = 2;
    auto broken = test::diagPayload(established());
    broken.resize(40);  // truncated inet_diag_msg inside an intact header
    std::vector<uint8_t> datagram = test::diagMessage(established(), 7);
    test::append(datagram, test::netlinkMessage(20, 7, broken));
    test::append(datagram, test::diagMessage(second, 7));
    test::append(datagram, test::diagMessage(second, 99));  // another request's
    std::vector<InetSocket> out;
    size_t skipped = 0;
    auto step = SocketDiagDecoding::sockets(datagram, 7, out, &skipped);
    ASSERT_TRUE(step);
    EXPECT_EQ(*step, NetlinkDecoding::Step::more);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[1].cookie, 2u);
    EXPECT_EQ(skipped, 1u);
}

TEST(SocketDiagDecoding, DoneEndsTheDumpAndAnErrorCarriesItsErrno) {
    std::vector<InetSocket> out;
    auto done = test::diagMessage(established(), 3);
    test::append(done, test::netlinkDone(3));
    auto step = SocketDiagDecoding::sockets(done, 3, out);
    ASSERT_TRUE(step);
    EXPECT_EQ(*step, NetlinkDecoding::Step::done);
    EXPECT_EQ(out.size(), 1u);

    auto failed = SocketDiagDecoding::sockets(test::netlinkError(-EPERM, 4), 4, out);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), std::errc::operation_not_permitted);
}

TEST(SocketDiagDecoding, AHeaderRunningPastTheDatagramIsMalformedAndKeepsWhatCameBefore) {
    auto datagram = test::diagMessage(established(), 5);
    auto truncated = test::diagMessage(established(), 5);
    truncated.resize(60);
    test::append(datagram, truncated);
    std::vector<InetSocket> out;
    auto step = SocketDiagDecoding::sockets(datagram, 5, out);
    ASSERT_FALSE(step);
    EXPECT_EQ(step.error(), NetlinkDecoding::malformed());
    EXPECT_EQ(out.size(), 1u);
}

TEST(SocketDiagDecoding, NotificationsAreReadWhateverTheirSequence) {
    auto datagram = test::diagMessage(established(), 0);
    std::vector<InetSocket> out;
    ASSERT_TRUE(SocketDiagDecoding::sockets(datagram, std::nullopt, out));
    EXPECT_EQ(out.size(), 1u);
}

TEST(SocketDiagDecoding, TheDumpRequestAsksForTcpStatesAndInfo) {
    auto request = SocketDiagDecoding::dumpRequest(10, 1u << 10, true);
    EXPECT_EQ(request[0], 10);
    EXPECT_EQ(request[1], 6);
    EXPECT_EQ(request[2], 1 << 1);
    uint32_t states;
    std::memcpy(&states, request.data() + 4, 4);
    EXPECT_EQ(states, 1u << 10);
    EXPECT_EQ(SocketDiagDecoding::dumpRequest(2, 1, false)[2], 0);
}

TEST(SocketDiagDecoding, TheOlderRequestAsksForBothFamiliesInOneWalk) {
    auto request = SocketDiagDecoding::tcpDumpRequest(1u << 1, true);
    EXPECT_EQ(request[0], 0);  // AF_UNSPEC
    EXPECT_EQ(request[1], 0);
    EXPECT_EQ(request[2], 0);
    EXPECT_EQ(request[3], 1 << 1);  // idiag_ext: INET_DIAG_INFO
    uint32_t states;
    std::memcpy(&states, request.data() + 52, 4);
    EXPECT_EQ(states, 1u << 1);
    EXPECT_EQ(SocketDiagDecoding::tcpDumpRequest(1, false)[3], 0);
}

TEST(SocketDiagDecoding, TheOlderRequestsAnswersAreReadAndOtherTypesSkipped) {
    std::vector<uint8_t> datagram = test::netlinkMessage(18, 6, test::diagPayload(established()));
    test::append(datagram, test::netlinkMessage(19, 6, test::diagPayload(established())));  // neither
    std::vector<InetSocket> out;
    ASSERT_TRUE(SocketDiagDecoding::sockets(datagram, 6, out));
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0].cookie, established().cookie);
}

TEST(SocketDiagDecoding, ALookupNamesTheSocketByTheIdentityItsDumpGave) {
    for (auto s : {established(), [] {
             auto v6 = established();
             v6.family = 10;
             v6.local = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2};
             v6.remote = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
             v6.interfaceIndex = 3;
             return v6;
         }()}) {
        const auto payload = test::diagPayload(s);
        auto socket = SocketDiagDecoding::socket(payload);
        ASSERT_TRUE(socket);
        auto request = SocketDiagDecoding::lookupRequest(*socket, true);
        EXPECT_EQ(request[0], s.family);
        EXPECT_EQ(request[1], 6);
        EXPECT_EQ(request[2], 1 << 1);  // INET_DIAG_INFO
        uint32_t states;
        std::memcpy(&states, request.data() + 4, 4);
        EXPECT_EQ(states, 0xffffffffu);
        // The request's inet_diag_sockid (after its 8-byte head) is the
        // message's (after its 4-byte head), byte for byte: ports, addresses,
        // bound device and cookie as the kernel wrote them.
        EXPECT_TRUE(std::equal(request.begin() + 8, request.end(), payload.begin() + 4)) << int(s.family);
        EXPECT_EQ(SocketDiagDecoding::lookupRequest(*socket, false)[2], 0);
    }
}

TEST(SocketDiagDecoding, LookupAnswersAreSocketsOrGoneByTheirSequence) {
    auto second = established();
    second.cookie = 77;
    std::vector<uint8_t> datagram = test::diagMessage(established(), 10);
    test::append(datagram, test::netlinkError(-ENOENT, 11));
    test::append(datagram, test::netlinkError(-ESTALE, 12));  // another socket has its address now
    test::append(datagram, test::netlinkMessage(19, 13, {}));  // not an answer: skipped
    test::append(datagram, test::diagMessage(second, 14));
    std::vector<SocketDiagDecoding::LookupAnswer> answers;
    ASSERT_TRUE(SocketDiagDecoding::lookupAnswers(datagram, answers));
    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(answers[0].sequence, 10u);
    ASSERT_TRUE(answers[0].socket);
    EXPECT_EQ(answers[0].socket->bytesReceived, 5'000'000'000ull);
    EXPECT_EQ(answers[1], (SocketDiagDecoding::LookupAnswer{11, std::nullopt}));
    EXPECT_EQ(answers[2], (SocketDiagDecoding::LookupAnswer{12, std::nullopt}));
    EXPECT_EQ(answers[3].sequence, 14u);
    ASSERT_TRUE(answers[3].socket);
    EXPECT_EQ(answers[3].socket->cookie, 77u);
}

TEST(SocketDiagDecoding, ALookupDatagramThatCannotBeReadWhollyFailsAndAddsNothing) {
    std::vector<SocketDiagDecoding::LookupAnswer> answers;
    auto refused = test::diagMessage(established(), 20);
    test::append(refused, test::netlinkError(-EPERM, 21));
    auto failed = SocketDiagDecoding::lookupAnswers(refused, answers);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), std::errc::operation_not_permitted);
    EXPECT_TRUE(answers.empty());

    auto broken = test::diagPayload(established());
    broken.resize(40);
    auto undecodable = test::diagMessage(established(), 22);
    test::append(undecodable, test::netlinkMessage(20, 23, broken));
    auto malformed = SocketDiagDecoding::lookupAnswers(undecodable, answers);
    ASSERT_FALSE(malformed);
    EXPECT_EQ(malformed.error(), NetlinkDecoding::malformed());
    EXPECT_TRUE(answers.empty());

    auto cut = test::diagMessage(established(), 24);
    cut.resize(cut.size() - 30);
    EXPECT_FALSE(SocketDiagDecoding::lookupAnswers(cut, answers));
    EXPECT_FALSE(SocketDiagDecoding::lookupAnswers(test::netlinkError(0, 25), answers));  // an ack, never asked for
    EXPECT_TRUE(answers.empty());
}

}  // namespace
}  // namespace orv

namespace orv {
namespace {

InetSocket peerAt(uint8_t family, std::array<uint8_t, 16> remote) {
    InetSocket socket;
    socket.family = family;
    socket.remoteAddress = remote;
    return socket;
}

TEST(SocketDiagFilter, LeavesOutLoopbackPeersOfEitherFamilyAndKeepsTheRest) {
    const auto program = SocketDiagDecoding::nonLoopbackFilter();
    auto keeps = [&](const InetSocket& s) { return SocketDiagDecoding::runFilter(program, s); };
    EXPECT_EQ(keeps(peerAt(2, test::ipv4(127, 0, 0, 1))), false);
    EXPECT_EQ(keeps(peerAt(2, test::ipv4(127, 200, 3, 4))), false);
    EXPECT_EQ(keeps(peerAt(2, test::ipv4(128, 0, 0, 1))), true);
    EXPECT_EQ(keeps(peerAt(2, test::ipv4(10, 0, 0, 1))), true);
    EXPECT_EQ(keeps(peerAt(2, {})), true);  // unconnected
    std::array<uint8_t, 16> one{};
    one[15] = 1;
    EXPECT_EQ(keeps(peerAt(10, one)), false);
    one[15] = 2;
    EXPECT_EQ(keeps(peerAt(10, one)), true);
    EXPECT_EQ(keeps(peerAt(10, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 127, 0, 0, 1})), false);
    EXPECT_EQ(keeps(peerAt(10, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 10, 0, 0, 1})), true);
    EXPECT_EQ(keeps(peerAt(10, {0x20, 0x01, 0x0d, 0xb8})), true);
}

TEST(SocketDiagFilter, EveryJumpLandsOnAnOperationOrTheEnds) {
    // The kernel audits the program the same way: yes-jumps lead to exactly
    // the end, no-jumps at most four bytes past it, all in steps of four.
    const auto program = SocketDiagDecoding::nonLoopbackFilter();
    ASSERT_EQ(program.size() % 4, 0u);
    size_t at = 0;
    while (at < program.size()) {
        const uint8_t yes = program[at + 1];
        uint16_t no;
        std::memcpy(&no, program.data() + at + 2, 2);
        EXPECT_LE(at + no, program.size() + 4);
        EXPECT_EQ(no % 4, 0);
        at += yes;
    }
    EXPECT_EQ(at, program.size());
    EXPECT_FALSE(SocketDiagDecoding::runFilter(std::vector<uint8_t>{42, 4, 4, 0}, InetSocket{}));
}

}  // namespace
}  // namespace orv
