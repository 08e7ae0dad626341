// Per-process network rates in real snapshots: a child of the test moves a
// known number of bytes through a namespace this test makes, and its
// snapshot rates must account for them.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include "Sampling/SnapshotBuilder.h"
#include "support/NetworkNamespace.h"

namespace orv {
namespace {

constexpr size_t sent = 3'000'000;
constexpr size_t received = 1'000'000;

// A child that connects, then on "go" sends `sent` bytes and reads the
// server's `received`, closes the connection when `closeAfter`, reports
// "done" and waits to be killed.
class TransferChild {
public:
    TransferChild(const std::string& address, uint16_t port, bool closeAfter) {
        int go[2], done[2];
        if (::pipe(go) != 0 || ::pipe(done) != 0) return;
        pid_ = ::fork();
        if (pid_ == 0) {
            ::close(go[1]);
            ::close(done[0]);
            int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            sockaddr_in peer{};
            peer.sin_family = AF_INET;
            peer.sin_port = htons(port);
            ::inet_pton(AF_INET, address.c_str(), &peer.sin_addr);
            char c = 0;
            if (::connect(fd, reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) ::_exit(2);
            if (::write(done[1], &c, 1) != 1 || ::read(go[0], &c, 1) != 1) ::_exit(3);
            std::vector<char> buffer(65536, 'c');
            size_t out = 0, in = 0;
            while (out < sent) {
                ssize_t n = ::send(fd, buffer.data(), std::min(buffer.size(), sent - out), MSG_NOSIGNAL);
                if (n <= 0) ::_exit(4);
                out += size_t(n);
            }
            while (in < received) {
                ssize_t n = ::read(fd, buffer.data(), buffer.size());
                if (n <= 0) ::_exit(5);
                in += size_t(n);
            }
            if (closeAfter) ::close(fd);
            if (::write(done[1], &c, 1) != 1) ::_exit(6);
            ::pause();
            ::_exit(0);
        }
        ::close(go[0]);
        ::close(done[1]);
        go_ = go[1];
        done_ = done[0];
        char c;
        connected_ = pid_ > 0 && ::read(done_, &c, 1) == 1;
    }
    ~TransferChild() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        if (go_ >= 0) ::close(go_);
        if (done_ >= 0) ::close(done_);
    }
    bool connected() const { return connected_; }
    pid_t pid() const { return pid_; }
    // Lets it transfer and waits until it has.
    bool transfer() {
        char c = 1;
        return ::write(go_, &c, 1) == 1 && ::read(done_, &c, 1) == 1;
    }

private:
    pid_t pid_ = -1;
    int go_ = -1, done_ = -1;
    bool connected_ = false;
};

class ProcessNetworkSnapshotLive : public ::testing::TestWithParam<bool> {};

TEST_P(ProcessNetworkSnapshotLive, AChildsTransferShowsAsItsRatesAndItsApps) {
    const bool closeBeforeTheSample = GetParam();
    std::string whyNot;
    auto ns = test::NetworkNamespace::make(whyNot);
    if (!ns) GTEST_SKIP() << whyNot;
    auto server = ns->serve(8090, received, sent);
    ASSERT_TRUE(server);
    TransferChild child(ns->insideAddress(), 8090, closeBeforeTheSample);
    ASSERT_TRUE(child.connected());

    SnapshotBuilder builder(SnapshotBuilder::machineParts());
    builder.build();  // the dump sees the connection, still silent
    ASSERT_TRUE(child.transfer());
    auto snapshot = builder.build();

    auto childIn = [&](const Snapshot& s) {
        return std::find_if(s.processes.begin(), s.processes.end(),
                            [&](const ProcessSample& p) { return p.pid == child.pid(); });
    };
    auto process = childIn(snapshot);
    ASSERT_NE(process, snapshot.processes.end());
    ASSERT_TRUE(process->netOutBPS && process->netInBPS);
    double out = *process->netOutBPS * snapshot.interval.toSeconds();
    double in = *process->netInBPS * snapshot.interval.toSeconds();
    // A socket closed before the sample may be gone by then, its final
    // counts announced from a kernel work item a moment later: they land on
    // the next snapshot.
    for (int i = 0; closeBeforeTheSample && i < 40 && (out < 0.9 * sent || in < 0.9 * received); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        auto next = builder.build();
        auto again = childIn(next);
        ASSERT_NE(again, next.processes.end());
        out += again->netOutBPS.value_or(0) * next.interval.toSeconds();
        in += again->netInBPS.value_or(0) * next.interval.toSeconds();
    }
    EXPECT_NEAR(out, double(sent), 0.1 * sent);
    EXPECT_NEAR(in, double(received), 0.1 * received);
    auto app = std::find_if(snapshot.apps.begin(), snapshot.apps.end(),
                            [&](const AppAggregate& a) { return a.app.id == process->app; });
    ASSERT_NE(app, snapshot.apps.end());
    EXPECT_GE(app->netOutBPS.value_or(0), *process->netOutBPS);
}

INSTANTIATE_TEST_SUITE_P(OpenAndClosed, ProcessNetworkSnapshotLive, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "ClosedBeforeTheSample" : "StillOpen"; });

}  // namespace
}  // namespace orv
