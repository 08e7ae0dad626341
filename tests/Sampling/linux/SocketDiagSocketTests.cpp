#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <vector>

#include "Sampling/linux/SocketDiagSocket.h"
#include "core/FileDescriptor.h"

namespace orv {
namespace {

// A TCP socket bound to 127.0.0.1 on a port the kernel picks.
FileDescriptor loopbackSocket(uint16_t& port) {
    FileDescriptor fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    EXPECT_EQ(::bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::getsockname(fd.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    port = ntohs(address.sin_port);
    return fd;
}

// A TCP socket connected to 127.0.0.1:port; invalid when the connection fails.
FileDescriptor connectedTo(uint16_t port) {
    FileDescriptor fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return FileDescriptor(-1);
    return fd;
}

uint64_t inodeOf(int fd) {
    struct stat info {};
    EXPECT_EQ(::fstat(fd, &info), 0);
    return info.st_ino;
}

TEST(SocketDiagSocketLive, ADumpOfListeningSocketsFindsOursWithItsInodeAndUid) {
    uint16_t port = 0;
    auto listener = loopbackSocket(port);
    ASSERT_EQ(::listen(listener.get(), 4), 0);
    SocketDiagSocket diag;
    auto sockets = diag.dumpTCP(SocketDiagSocket::listenStates, false);
    ASSERT_TRUE(sockets) << sockets.error().message();
    auto found = std::find_if(sockets->begin(), sockets->end(), [&](const InetSocket& s) { return s.localPort == port; });
    ASSERT_NE(found, sockets->end());
    EXPECT_EQ(found->state, SocketDiagDecoding::listenState);
    EXPECT_EQ(found->inode, inodeOf(listener.get()));
    EXPECT_EQ(found->uid, ::geteuid());
    EXPECT_EQ(found->localAddressText(), "127.0.0.1");
    EXPECT_NE(found->cookie, 0u);
}

TEST(SocketDiagSocketLive, OneDumpFindsListenersOfBothFamilies) {
    uint16_t port4 = 0;
    auto listener4 = loopbackSocket(port4);
    ASSERT_EQ(::listen(listener4.get(), 4), 0);
    FileDescriptor listener6(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    socklen_t length = sizeof address;
    if (::bind(listener6.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        GTEST_SKIP() << "no IPv6 loopback here";
    }
    ASSERT_EQ(::getsockname(listener6.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    ASSERT_EQ(::listen(listener6.get(), 4), 0);
    SocketDiagSocket diag;
    auto sockets = diag.dumpTCP(SocketDiagSocket::listenStates, false);
    ASSERT_TRUE(sockets) << sockets.error().message();
    auto has = [&](uint8_t family, uint16_t port, uint64_t inode) {
        return std::any_of(sockets->begin(), sockets->end(), [&](const InetSocket& s) {
            return s.family == family && s.localPort == port && s.inode == inode;
        });
    };
    EXPECT_TRUE(has(AF_INET, port4, inodeOf(listener4.get())));
    EXPECT_TRUE(has(AF_INET6, ntohs(address.sin6_port), inodeOf(listener6.get())));
    // Each socket once, whichever request served both families.
    std::vector<uint64_t> cookies;
    for (const auto& s : *sockets) cookies.push_back(s.cookie);
    std::sort(cookies.begin(), cookies.end());
    EXPECT_EQ(std::adjacent_find(cookies.begin(), cookies.end()), cookies.end());
}

TEST(SocketDiagSocketLive, AnEstablishedPairCarriesItsByteCountsAndIsLoopback) {
    uint16_t port = 0;
    auto listener = loopbackSocket(port);
    ASSERT_EQ(::listen(listener.get(), 4), 0);
    auto client = connectedTo(port);
    ASSERT_TRUE(client);
    FileDescriptor server(::accept(listener.get(), nullptr, nullptr));
    std::vector<char> data(100'000, 'x');
    std::vector<char> sink(200'000);
    size_t sent = 0, received = 0;
    while (sent < data.size()) {
        ssize_t n = ::send(client.get(), data.data() + sent, data.size() - sent, MSG_DONTWAIT);
        if (n > 0) sent += size_t(n);
        ssize_t r = ::recv(server.get(), sink.data(), sink.size(), MSG_DONTWAIT);
        if (r > 0) received += size_t(r);
    }
    while (received < 100'000) {
        ssize_t r = ::recv(server.get(), sink.data(), sink.size(), 0);
        ASSERT_GT(r, 0);
        received += size_t(r);
    }
    SocketDiagSocket diag;
    auto sockets = diag.dumpTCP(SocketDiagSocket::allStates, true);
    ASSERT_TRUE(sockets);
    const uint64_t clientInode = inodeOf(client.get());
    auto found = std::find_if(sockets->begin(), sockets->end(), [&](const InetSocket& s) { return s.inode == clientInode; });
    ASSERT_NE(found, sockets->end());
    EXPECT_TRUE(found->isLoopback());
    ASSERT_TRUE(found->bytesAcked);
    // The acknowledged SYN counts as one byte of the sequence space.
    EXPECT_EQ(*found->bytesAcked, 100'001u);
    EXPECT_EQ(found->remotePort, port);
    const uint64_t serverInode = inodeOf(server.get());
    auto accepted = std::find_if(sockets->begin(), sockets->end(), [&](const InetSocket& s) { return s.inode == serverInode; });
    ASSERT_NE(accepted, sockets->end());
    EXPECT_EQ(accepted->bytesReceived, 100'000u);
}

TEST(SocketDiagSocketLive, LookupsAnswerEverySocketInOrderAndNoneForOneGoneOrReplaced) {
    uint16_t port = 0;
    auto listener = loopbackSocket(port);
    ASSERT_EQ(::listen(listener.get(), 256), 0);
    // More than one batch of requests.
    std::vector<FileDescriptor> clients, servers;
    for (int i = 0; i < 150; ++i) {
        clients.push_back(connectedTo(port));
        ASSERT_TRUE(clients.back()) << i;
        servers.emplace_back(::accept(listener.get(), nullptr, nullptr));
    }
    ASSERT_EQ(::send(clients[7].get(), "twelve bytes", 12, 0), 12);
    std::vector<char> sink(12);
    ASSERT_EQ(::recv(servers[7].get(), sink.data(), sink.size(), MSG_WAITALL), 12);
    SocketDiagSocket diag;
    auto dumped = diag.dumpTCP(SocketDiagSocket::connectedStates, true);
    ASSERT_TRUE(dumped);
    std::vector<InetSocket> wanted;
    for (const auto& client : clients) {
        const uint64_t inode = inodeOf(client.get());
        auto found = std::find_if(dumped->begin(), dumped->end(), [&](const InetSocket& s) { return s.inode == inode; });
        ASSERT_NE(found, dumped->end());
        wanted.push_back(*found);
    }
    // One closed (its server end too, so nothing is left at its address
    // but TIME_WAIT), and one asked for with a cookie not its own.
    clients[3].reset();
    servers[3].reset();
    wanted[5].cookie ^= 1;
    auto answers = diag.lookUp(wanted, true);
    ASSERT_TRUE(answers);
    ASSERT_EQ(answers->size(), wanted.size());
    for (size_t i = 0; i < wanted.size(); ++i) {
        if (i == 3) {
            // Gone, or TIME_WAIT, which has no inode.
            EXPECT_TRUE(!(*answers)[i] || (*answers)[i]->inode == 0) << i;
            continue;
        }
        if (i == 5) {
            EXPECT_FALSE((*answers)[i]) << i;
            continue;
        }
        ASSERT_TRUE((*answers)[i]) << i;
        EXPECT_EQ((*answers)[i]->cookie, wanted[i].cookie) << i;
        EXPECT_EQ((*answers)[i]->inode, wanted[i].inode) << i;
    }
    EXPECT_EQ((*answers)[7]->bytesAcked, 13u);  // the SYN's byte and the twelve
    // The socket stays usable for dumps after lookups.
    EXPECT_TRUE(diag.dumpTCP(SocketDiagSocket::connectedStates, false));
}

TEST(SocketDiagSocketLive, TheKernelLeavesOutLoopbackPeersWhenFiltered) {
    uint16_t port = 0;
    auto listener = loopbackSocket(port);
    ASSERT_EQ(::listen(listener.get(), 4), 0);
    auto client = connectedTo(port);
    ASSERT_TRUE(client);
    SocketDiagSocket diag;
    const uint64_t inode = inodeOf(client.get());
    auto has = [&](const std::vector<InetSocket>& sockets) {
        return std::any_of(sockets.begin(), sockets.end(), [&](const InetSocket& s) { return s.inode == inode; });
    };
    auto all = diag.dumpTCP(SocketDiagSocket::connectedStates, true);
    ASSERT_TRUE(all);
    EXPECT_TRUE(has(*all));
    auto filtered = diag.dumpTCP(SocketDiagSocket::connectedStates, true, nullptr, SocketDiagDecoding::nonLoopbackFilter());
    ASSERT_TRUE(filtered) << filtered.error().message();
    EXPECT_FALSE(has(*filtered));
    // The listener is connected to nobody and not in the connected states.
    EXPECT_TRUE(std::none_of(filtered->begin(), filtered->end(), [](const InetSocket& s) { return s.state == 10; }));
}

TEST(SocketDiagSocketLive, ADestroyedSocketIsAnnouncedWithItsCookie) {
    SocketDiagSocket diag;
    auto watching = diag.watchDestroyed();
    if (!watching && (watching.error() == std::errc::operation_not_permitted)) {
        GTEST_SKIP() << "joining the destroy groups needs CAP_NET_ADMIN";
    }
    ASSERT_TRUE(watching) << watching.error().message();
    uint16_t port = 0;
    auto listener = loopbackSocket(port);
    ASSERT_EQ(::listen(listener.get(), 4), 0);
    auto before = diag.dumpTCP(SocketDiagSocket::listenStates, false);
    ASSERT_TRUE(before);
    auto seen = std::find_if(before->begin(), before->end(), [&](const InetSocket& s) { return s.localPort == port; });
    ASSERT_NE(seen, before->end());
    listener.reset();
    // The groups announce every socket the machine closes, so another's
    // (a test running beside this one) can come before ours: read until
    // ours has come or five seconds have passed.
    std::vector<InetSocket> destroyed;
    auto ours = [&] {
        return std::find_if(destroyed.begin(), destroyed.end(), [&](const InetSocket& s) { return s.cookie == seen->cookie; });
    };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (ours() == destroyed.end()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        pollfd ready{diag.destroyedDescriptor(), POLLIN, 0};
        if (left <= 0 || ::poll(&ready, 1, int(left)) != 1) break;
        ASSERT_TRUE(diag.drainDestroyed(destroyed));
    }
    auto gone = ours();
    ASSERT_NE(gone, destroyed.end());
    EXPECT_EQ(gone->localPort, port);
}

}  // namespace
}  // namespace orv
