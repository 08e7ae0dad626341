#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "Sampling/ProcessNetworkSampler.h"
#include "Sampling/linux/SocketDiagStatistics.h"
#include "Sampling/TcpSegmentCounters.h"
#include "Sampling/TcpTrafficGate.h"
#include "core/FileDescriptor.h"
#include "core/FileReading.h"
#include "support/NetworkNamespace.h"

namespace orv {
namespace {

// Connects to address:port; -1 on failure.
FileDescriptor connectTo(const std::string& address, uint16_t port) {
    FileDescriptor fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    ::inet_pton(AF_INET, address.c_str(), &peer.sin_addr);
    if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) return FileDescriptor(-1);
    return fd;
}

size_t sendAll(int fd, size_t count) {
    std::vector<char> data(65536, 's');
    size_t sent = 0;
    while (sent < count) {
        ssize_t n = ::send(fd, data.data(), std::min(data.size(), count - sent), MSG_NOSIGNAL);
        if (n <= 0) break;
        sent += size_t(n);
    }
    return sent;
}

// A listener on 127.0.0.1 at a port the kernel picks (`port`); invalid
// when any step fails.
FileDescriptor loopbackListener(uint16_t& port) {
    FileDescriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener.get(), 4) != 0 ||
        ::getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return FileDescriptor();
    }
    port = ntohs(address.sin_port);
    return listener;
}

size_t readToEnd(int fd) {
    std::vector<char> data(65536);
    size_t got = 0;
    for (ssize_t n; (n = ::read(fd, data.data(), data.size())) > 0;) got += size_t(n);
    return got;
}

// Waits, without sleeping, until the peer has acknowledged everything sent:
// the socket's own tcp_info says so once its send queue is empty.
void awaitAcknowledged(int fd) {
    for (int i = 0; i < 100000; ++i) {
        int unsent = 0;
        if (::ioctl(fd, TIOCOUTQ, &unsent) == 0 && unsent == 0) return;
        ::sched_yield();
    }
}

struct GatedAccounting;
struct SettledConnection;

// What a connection to a peer that never reads took before it stalled.
struct Stalled {
    size_t sent = 0;          // accepted by our socket
    size_t acknowledged = 0;  // of which the peer acknowledged
};

// Sends without blocking until neither the peer's window nor our send
// buffer takes more, then waits until what the peer acknowledged stands
// still; nothing when sending fails or it never settles.
std::optional<Stalled> sendUntilStalled(int fd) {
    std::vector<char> data(65536, 's');
    Stalled stalled;
    for (int refused = 0; refused < 5;) {
        ssize_t n = ::send(fd, data.data(), data.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            stalled.sent += size_t(n);
            refused = 0;
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            ++refused;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        } else {
            return std::nullopt;
        }
    }
    // Our send queue holds what is unsent or unacknowledged.
    std::optional<size_t> last;
    for (int i = 0; i < 100; ++i) {
        int queued = 0;
        if (::ioctl(fd, TIOCOUTQ, &queued) != 0 || queued < 0 || size_t(queued) > stalled.sent) return std::nullopt;
        const size_t acknowledged = stalled.sent - size_t(queued);
        if (last == acknowledged) {
            stalled.acknowledged = acknowledged;
            return stalled;
        }
        last = acknowledged;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return std::nullopt;
}

// Sends `count` bytes and waits until the peer has acknowledged them all;
// false when not every byte could be sent.
bool sendAcknowledged(int fd, size_t count) {
    if (sendAll(fd, count) != count) return false;
    awaitAcknowledged(fd);
    return true;
}

class ProcessNetworkSamplerLive : public ::testing::Test {
protected:
    void SetUp() override {
        std::string whyNot;
        auto made = test::NetworkNamespace::make(whyNot);
        if (!made) GTEST_SKIP() << whyNot;
        ns_.emplace(std::move(*made));
    }

    // Our own reading, changed each time, so that the accounting looks at
    // this process for new sockets.
    std::vector<ProcessReading> us() {
        ProcessReading reading;
        reading.pid = ::getpid();
        reading.uid = ::getuid();
        reading.cpuTime = Duration::seconds(++ticks_);
        reading.wakeups = ++runs_;
        return {reading};
    }

    NetworkBytesByPID query(ProcessNetworkSampler& sampler) {
        sampler.observe(us());
        return cumulative(sampler);
    }
    // Counters that moved for a new connection made just before, then the
    // passes that settle them: the connection's, a dump the pass after,
    // and a pass that keeps the counts.
    void settleAfterConnecting(GatedAccounting& accounting);
    // A connection so settled, or nothing when the server or the
    // connection could not be made. Without `serverReads`, to a server that
    // never reads.
    std::unique_ptr<SettledConnection> settledConnection(bool serverReads = true);

    // A query after a pass in which our process did not run: its reading is
    // the last one's. With `briefly`, it ran for less than a clock tick:
    // only its run count moved.
    NetworkBytesByPID queryAsleep(ProcessNetworkSampler& sampler, bool briefly = false) {
        ProcessReading reading;
        reading.pid = ::getpid();
        reading.uid = ::getuid();
        reading.cpuTime = Duration::seconds(ticks_);
        if (briefly) ++runs_;
        reading.wakeups = runs_;
        sampler.observe({reading});
        return cumulative(sampler);
    }

    NetworkBytesByPID cumulative(ProcessNetworkSampler& sampler) {
        auto bytes = sampler.cumulativeBytes().get();
        EXPECT_TRUE(bytes);
        return bytes.value_or(NetworkBytesByPID{});
    }

    // A closed socket is announced from a kernel work item a moment after
    // its last descriptor closes: query until our process's received bytes
    // reach `rx`, a bounded number of times.
    NetworkBytesByPID queryUntilReceived(ProcessNetworkSampler& sampler, uint64_t rx) {
        NetworkBytesByPID bytes;
        for (int attempt = 0; attempt < 200; ++attempt) {
            bytes = query(sampler);
            if (auto mine = bytes.find(::getpid()); mine != bytes.end() && mine->second.rx >= rx) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return bytes;
    }

    std::optional<test::NetworkNamespace> ns_;
    test::NetworkNamespace* net() { return &*ns_; }
    int64_t ticks_ = 0;
    uint64_t runs_ = 0;
};

TEST_F(ProcessNetworkSamplerLive, CountsAConnectionThroughADumpAndItsFinalBytesAfterItCloses) {
    auto server = net()->serve(8080, 200'000);
    ASSERT_TRUE(server);
    ProcessNetworkSampler sampler;
    ASSERT_TRUE(sampler.isAvailable());
    query(sampler);

    auto connection = connectTo(net()->insideAddress(), 8080);
    ASSERT_TRUE(connection);
    ASSERT_TRUE(sendAcknowledged(connection.get(), 300'000));
    auto seen = query(sampler);  // a dump sees it open
    ASSERT_TRUE(seen.contains(::getpid()));
    EXPECT_EQ(seen.at(::getpid()).tx, 300'000u);

    ::shutdown(connection.get(), SHUT_WR);
    EXPECT_EQ(readToEnd(connection.get()), 200'000u);
    connection.reset();
    auto after = queryUntilReceived(sampler, 200'000);
    ASSERT_TRUE(after.contains(::getpid()));
    // Its final counts, from the socket's removal: the reply, and what we
    // sent (our FIN is the one extra byte the peer acknowledged).
    EXPECT_NEAR(double(after.at(::getpid()).rx), 200'000, 1);
    EXPECT_NEAR(double(after.at(::getpid()).tx), 300'000, 1);
}

TEST_F(ProcessNetworkSamplerLive, LoopbackTrafficIsNotCounted) {
    ProcessNetworkSampler sampler;
    query(sampler);
    uint16_t port = 0;
    FileDescriptor listener = loopbackListener(port);
    ASSERT_TRUE(listener.valid());
    auto client = connectTo("127.0.0.1", port);
    ASSERT_TRUE(client);
    FileDescriptor server(::accept(listener.get(), nullptr, nullptr));
    ASSERT_EQ(sendAll(client.get(), 100'000), 100'000u);
    ::shutdown(client.get(), SHUT_WR);
    EXPECT_EQ(readToEnd(server.get()), 100'000u);
    auto bytes = query(sampler);
    auto mine = bytes.find(::getpid());
    if (mine != bytes.end()) {
        EXPECT_EQ(mine->second, (NetworkByteCounts{0, 0}));
    }
}

// The accounting with TCP segment counters the test moves by hand: real
// sockets and dumps, but the test says when traffic happened.
// With `countsOpens`, the counters also say how many connections were made
// (`opened`), so that passes with traffic may look sockets up.
struct GatedAccounting {
    std::shared_ptr<uint64_t> moved = std::make_shared<uint64_t>(0);
    std::shared_ptr<uint64_t> opened = std::make_shared<uint64_t>(0);
    std::shared_ptr<SocketDiagStatistics> statistics;
    std::unique_ptr<ProcessNetworkSampler> sampler;

    explicit GatedAccounting(bool countsOpens = false) {
        SocketDiagStatistics::Options options;
        options.everyUser = SocketDiagStatistics::canReadEveryUser("/");
        options.uid = uint32_t(::getuid());
        options.tcpSegments = [moved = moved, opened = opened,
                               countsOpens]() -> std::optional<TcpSegmentCounters> {
            return TcpSegmentCounters{*moved, 7, countsOpens ? std::optional<uint64_t>(*opened) : std::nullopt};
        };
        statistics = SocketDiagStatistics::make(options);
        ProcessNetworkPort port;
        port.monitor = std::make_unique<NetworkStatisticsMonitor>(statistics->functions());
        port.observe = [statistics = statistics](const std::vector<ProcessReading>& readings) {
            statistics->observe(readings);
        };
        port.coversEveryUser = options.everyUser;
        sampler = std::make_unique<ProcessNetworkSampler>(std::move(port));
    }
};

TEST_F(ProcessNetworkSamplerLive, QuietTcpCountersKeepTheLastDumpsCountsAndMovingOnesDump) {
    auto server = net()->serve(8080, 0);
    ASSERT_TRUE(server);
    GatedAccounting accounting;
    query(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->dumpsMade(), 1u);  // the first pass dumps
    query(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->dumpsMade(), 2u);  // the pass that settles it
    query(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->dumpsMade(), 2u);

    auto connection = connectTo(net()->insideAddress(), 8080);
    ASSERT_TRUE(connection);
    ASSERT_TRUE(sendAcknowledged(connection.get(), 300'000));
    // Counters that did not move: no dump, so the connection is not seen
    // (which only a skipped dump explains) and the totals stand.
    auto skipped = query(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->dumpsMade(), 2u);
    EXPECT_EQ(skipped[::getpid()], (NetworkByteCounts{0, 0}));

    ++*accounting.moved;
    auto dumped = query(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->dumpsMade(), 3u);
    ASSERT_TRUE(dumped.contains(::getpid()));
    EXPECT_EQ(dumped.at(::getpid()).tx, 300'000u);
}

TEST_F(ProcessNetworkSamplerLive, AClosedSocketsFinalBytesLandOnAPassWithoutADump) {
    auto server = net()->serve(8080, 200'000);
    ASSERT_TRUE(server);
    GatedAccounting accounting;
    query(*accounting.sampler);

    auto connection = connectTo(net()->insideAddress(), 8080);
    ASSERT_TRUE(connection);
    ASSERT_TRUE(sendAcknowledged(connection.get(), 300'000));
    ++*accounting.moved;
    auto seen = query(*accounting.sampler);
    ASSERT_TRUE(seen.contains(::getpid()));
    EXPECT_EQ(seen.at(::getpid()).tx, 300'000u);
    query(*accounting.sampler);  // settles
    const size_t dumps = accounting.statistics->dumpsMade();

    ::shutdown(connection.get(), SHUT_WR);
    EXPECT_EQ(readToEnd(connection.get()), 200'000u);
    connection.reset();
    // The counters say nothing moved, yet the closed socket's announcement
    // is read on every pass: its final bytes land.
    auto after = queryUntilReceived(*accounting.sampler, 200'000);
    EXPECT_EQ(accounting.statistics->dumpsMade(), dumps);
    ASSERT_TRUE(after.contains(::getpid()));
    EXPECT_NEAR(double(after.at(::getpid()).rx), 200'000, 1);
    EXPECT_NEAR(double(after.at(::getpid()).tx), 300'000, 1);
}

// A socket its process closed lives on while it still has bytes to send
// (FIN_WAIT1; a peer that never reads keeps it so). What its peer
// acknowledges meanwhile is its owner's traffic now, not when the socket
// is finally announced gone.
TEST_F(ProcessNetworkSamplerLive, BytesASocketMovesAfterItsProcessClosedItCountAtTheNextDump) {
    auto server = net()->serveWithoutReading(8080);
    ASSERT_TRUE(server);
    GatedAccounting accounting;
    query(*accounting.sampler);
    auto connection = connectTo(net()->insideAddress(), 8080);
    ASSERT_TRUE(connection);
    ++*accounting.moved;
    auto seen = query(*accounting.sampler);  // a dump finds it and its owner
    EXPECT_EQ(seen[::getpid()], (NetworkByteCounts{0, 0}));

    auto stalled = sendUntilStalled(connection.get());
    ASSERT_TRUE(stalled);
    ASSERT_GT(stalled->acknowledged, 0u);
    connection.reset();
    const size_t dumps = accounting.statistics->dumpsMade();
    ++*accounting.moved;
    auto after = query(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->dumpsMade(), dumps + 1);
    EXPECT_GE(after[::getpid()].tx, stalled->acknowledged);
    EXPECT_LE(after[::getpid()].tx, stalled->sent + 1);  // and our FIN, once sent
    EXPECT_EQ(after[::getpid()].rx, 0u);
}

void ProcessNetworkSamplerLive::settleAfterConnecting(GatedAccounting& accounting) {
    ++*accounting.moved;
    ++*accounting.opened;
    query(*accounting.sampler);
    ++*accounting.moved;
    query(*accounting.sampler);
    query(*accounting.sampler);
}

// A server in the namespace, accounting that counts opens, and a connection
// to the server made after the accounting's first pass, its passes settled.
struct SettledConnection {
    test::NetworkNamespace::Server server;
    GatedAccounting accounting{true};
    FileDescriptor connection;
};

std::unique_ptr<SettledConnection> ProcessNetworkSamplerLive::settledConnection(bool serverReads) {
    auto settled = std::make_unique<SettledConnection>(SettledConnection{
        serverReads ? net()->serve(8080, 0) : net()->serveWithoutReading(8080), GatedAccounting(true), {}});
    if (!settled->server) return nullptr;
    query(*settled->accounting.sampler);
    settled->connection = connectTo(net()->insideAddress(), 8080);
    if (!settled->connection) return nullptr;
    settleAfterConnecting(settled->accounting);
    return settled;
}

TEST_F(ProcessNetworkSamplerLive, TrafficWithoutNewConnectionsLooksUpTheSocketsOfProcessesThatRan) {
    auto settled = settledConnection();
    ASSERT_TRUE(settled);
    GatedAccounting& accounting = settled->accounting;
    FileDescriptor& connection = settled->connection;
    const size_t dumps = accounting.statistics->dumpsMade();
    EXPECT_EQ(dumps, 4u);  // the first pass, the connection's, the one after it, the quiet one
    EXPECT_EQ(accounting.statistics->socketsLookedUp(), 0u);

    ASSERT_TRUE(sendAcknowledged(connection.get(), 300'000));
    ++*accounting.moved;
    auto bytes = query(*accounting.sampler);  // we ran: our socket is looked up
    EXPECT_EQ(accounting.statistics->dumpsMade(), dumps);
    EXPECT_EQ(accounting.statistics->socketsLookedUp(), 1u);
    ASSERT_TRUE(bytes.contains(::getpid()));
    EXPECT_EQ(bytes.at(::getpid()).tx, 300'000u);
}

TEST_F(ProcessNetworkSamplerLive, BytesASocketMovesAfterItsProcessClosedItCountAtTheNextLookup) {
    auto settled = settledConnection(false);
    ASSERT_TRUE(settled);
    GatedAccounting& accounting = settled->accounting;
    const size_t dumps = accounting.statistics->dumpsMade();

    auto stalled = sendUntilStalled(settled->connection.get());
    ASSERT_TRUE(stalled);
    ASSERT_GT(stalled->acknowledged, 0u);
    settled->connection.reset();
    ++*accounting.moved;
    auto bytes = query(*accounting.sampler);  // we ran: our socket is looked up
    EXPECT_EQ(accounting.statistics->dumpsMade(), dumps);
    EXPECT_EQ(accounting.statistics->socketsLookedUp(), 1u);
    EXPECT_GE(bytes[::getpid()].tx, stalled->acknowledged);
    EXPECT_LE(bytes[::getpid()].tx, stalled->sent + 1);
}

TEST_F(ProcessNetworkSamplerLive, AProcessThatRanForLessThanATickIsLookedUpByItsRunCount) {
    auto settled = settledConnection();
    ASSERT_TRUE(settled);
    GatedAccounting& accounting = settled->accounting;
    FileDescriptor& connection = settled->connection;
    ASSERT_TRUE(sendAcknowledged(connection.get(), 30'000));
    ++*accounting.moved;
    auto bytes = queryAsleep(*accounting.sampler, true);
    EXPECT_EQ(accounting.statistics->socketsLookedUp(), 1u);
    EXPECT_EQ(bytes.at(::getpid()).tx, 30'000u);
}

TEST_F(ProcessNetworkSamplerLive, TheOwnerOfASocketMadeByAProcessThatSeemedAsleepIsFoundAmongEveryProcess) {
    auto server = net()->serve(8080, 0);
    ASSERT_TRUE(server);
    GatedAccounting accounting(true);
    query(*accounting.sampler);
    // Made by a thread whose run shows neither in the process's CPU time
    // (less than a tick) nor in its main thread's run count.
    auto connection = connectTo(net()->insideAddress(), 8080);
    ASSERT_TRUE(connection);
    ASSERT_TRUE(sendAcknowledged(connection.get(), 40'000));
    ++*accounting.moved;
    ++*accounting.opened;
    NetworkBytesByPID bytes = queryAsleep(*accounting.sampler);
    for (int pass = 0; pass < 4 && !bytes.contains(::getpid()); ++pass) bytes = queryAsleep(*accounting.sampler);
    ASSERT_TRUE(bytes.contains(::getpid()));
    EXPECT_EQ(bytes.at(::getpid()).tx, 40'000u);

    // Such a search reads every fd folder of the user: the next socket that
    // needs one waits until ten queries have passed since.
    auto second = connectTo(net()->insideAddress(), 8080);
    ASSERT_TRUE(second);
    ASSERT_TRUE(sendAcknowledged(second.get(), 5'000));
    ++*accounting.moved;
    ++*accounting.opened;
    int queries = 0;
    for (; queries < 20 && bytes.at(::getpid()).tx == 40'000u; ++queries) bytes = queryAsleep(*accounting.sampler);
    EXPECT_EQ(bytes.at(::getpid()).tx, 45'000u);
    EXPECT_GE(queries, 7);  // ten since the last such search
    EXPECT_LE(queries, 10);
}

TEST_F(ProcessNetworkSamplerLive, ASocketWhoseProcessSleptLandsAtTheDumpThatEndsTheRound) {
    auto settled = settledConnection();
    ASSERT_TRUE(settled);
    GatedAccounting& accounting = settled->accounting;
    FileDescriptor& connection = settled->connection;
    const size_t dumps = accounting.statistics->dumpsMade();

    ASSERT_TRUE(sendAcknowledged(connection.get(), 300'000));
    // Traffic, but our process did not run and the socket was quiet at its
    // last look: nothing is looked up, and the bytes wait.
    ++*accounting.moved;
    auto waiting = queryAsleep(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->socketsLookedUp(), 0u);
    EXPECT_EQ(waiting[::getpid()], (NetworkByteCounts{0, 0}));
    for (unsigned pass = 2; pass < TcpTrafficGate::lookUpPasses; ++pass) {
        ++*accounting.moved;
        (void)queryAsleep(*accounting.sampler);
    }
    EXPECT_EQ(accounting.statistics->dumpsMade(), dumps);
    ++*accounting.moved;
    auto landed = queryAsleep(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->dumpsMade(), dumps + 1);
    ASSERT_TRUE(landed.contains(::getpid()));
    EXPECT_EQ(landed.at(::getpid()).tx, 300'000u);
}

TEST_F(ProcessNetworkSamplerLive, ASocketThatMovedIsLookedUpAgainWhileItsProcessSleeps) {
    auto settled = settledConnection();
    ASSERT_TRUE(settled);
    GatedAccounting& accounting = settled->accounting;
    FileDescriptor& connection = settled->connection;
    const size_t dumps = accounting.statistics->dumpsMade();

    ASSERT_TRUE(sendAcknowledged(connection.get(), 100'000));
    ++*accounting.moved;
    ASSERT_EQ(query(*accounting.sampler).at(::getpid()).tx, 100'000u);
    // Its process sleeps now, as one would while the kernel still sends
    // what it wrote: the socket moved at its last look, so it is asked
    // for again.
    ASSERT_TRUE(sendAcknowledged(connection.get(), 50'000));
    ++*accounting.moved;
    auto again = queryAsleep(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->socketsLookedUp(), 2u);
    EXPECT_EQ(again.at(::getpid()).tx, 150'000u);
    // Asked for once more, it has not moved: while its process sleeps it is
    // not asked for again.
    ++*accounting.moved;
    (void)queryAsleep(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->socketsLookedUp(), 3u);
    ++*accounting.moved;
    (void)queryAsleep(*accounting.sampler);
    EXPECT_EQ(accounting.statistics->socketsLookedUp(), 3u);
    EXPECT_EQ(accounting.statistics->dumpsMade(), dumps);
}

TEST_F(ProcessNetworkSamplerLive, TooManySocketsToLookUpDumpInstead) {
    // Both ends ours, on our own side of the pair: not loopback peers, so
    // every one of the 600 sockets is counted, and all are our process's.
    FileDescriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    ::inet_pton(AF_INET, net()->outsideAddress().c_str(), &address.sin_addr);
    socklen_t length = sizeof address;
    ASSERT_EQ(::bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener.get(), 512), 0);
    ASSERT_EQ(::getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    GatedAccounting accounting(true);
    query(*accounting.sampler);
    std::vector<FileDescriptor> clients, accepted;
    for (int i = 0; i < 300; ++i) {
        clients.push_back(connectTo(net()->outsideAddress(), ntohs(address.sin_port)));
        ASSERT_TRUE(clients.back()) << i;
        accepted.emplace_back(::accept(listener.get(), nullptr, nullptr));
        ASSERT_TRUE(accepted.back().valid()) << i;
    }
    settleAfterConnecting(accounting);
    const size_t dumps = accounting.statistics->dumpsMade();
    ASSERT_TRUE(sendAcknowledged(clients.back().get(), 20'000));
    ++*accounting.moved;
    auto bytes = query(*accounting.sampler);  // we ran, and hold 600 sockets
    EXPECT_EQ(accounting.statistics->socketsLookedUp(), 0u);
    EXPECT_EQ(accounting.statistics->dumpsMade(), dumps + 1);
    ASSERT_TRUE(bytes.contains(::getpid()));
    EXPECT_EQ(bytes.at(::getpid()), (NetworkByteCounts{20'000, 20'000}));
}

}  // namespace
}  // namespace orv

namespace orv {
namespace {

ProcessReading readingOf(int32_t pid, int64_t cpuSeconds) {
    ProcessReading reading;
    reading.pid = pid;
    reading.cpuTime = Duration::seconds(cpuSeconds);
    return reading;
}

TEST(TcpSegmentCountersLive, ThisNamespacesCountersMoveWithALoopbackConnection) {
    auto read = [] {
        auto text = FileReading::readSmallFile("/proc/net/snmp");
        EXPECT_TRUE(text);
        return text ? TcpSegmentCounters::decode(*text) : std::nullopt;
    };
    auto before = read();
    ASSERT_TRUE(before);
    uint16_t port = 0;
    FileDescriptor listener = loopbackListener(port);
    ASSERT_TRUE(listener.valid());
    auto client = connectTo("127.0.0.1", port);  // SYN, SYN-ACK, ACK
    ASSERT_TRUE(client);
    auto after = read();
    ASSERT_TRUE(after);
    EXPECT_GE(after->received, before->received + 3);
    EXPECT_GE(after->sent, before->sent + 3);
}

TEST(SocketDiagStatistics, PassesWithoutAQueryKeepOneEntryPerProcess) {
    auto statistics = SocketDiagStatistics::make({});
    for (int64_t pass = 0; pass < 50; ++pass) {
        statistics->observe({readingOf(10, pass), readingOf(11, pass), readingOf(12, 0)});
    }
    // 12 ran only when first seen; 10 and 11 on every pass: three processes.
    EXPECT_EQ(statistics->processesToLookAt(), 3u);
}

}  // namespace
}  // namespace orv
