#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>

#include "Sampling/linux/LinuxDevServerPort.h"
#include "core/SamplingError.h"
#include "support/NetlinkBytes.h"
#include "support/TempDir.h"

namespace orv {
namespace {

namespace fs = std::filesystem;

// A fixture proc/ with the processes' fd links, cwd links, stat and
// cmdline as the kernel writes them, and a dump of listening sockets built
// as the kernel sends it, decoded by the one decoder.
class LinuxDevServerPortFixture : public ::testing::Test {
protected:
    void process(int32_t pid, int32_t pgid, int32_t sid, const std::string& cwd, std::string_view cmdline,
                 std::vector<uint32_t> socketInodes) {
        const std::string folder = "proc/" + std::to_string(pid);
        root.write(folder + "/stat", std::to_string(pid) + " (node) S 1 " + std::to_string(pgid) + " " +
                                         std::to_string(sid) +
                                         " 34816 1 4194560 100 0 0 0 25 7 0 0 20 0 1 0 12345 1000 200\n");
        root.write(folder + "/cmdline", cmdline);
        if (!cwd.empty()) root.symlink(folder + "/cwd", cwd);
        root.mkdir(folder + "/fd");
        root.symlink(folder + "/fd/0", "/dev/null");
        int fd = 3;
        for (uint32_t inode : socketInodes) root.symlink(folder + "/fd/" + std::to_string(fd++), "socket:[" + std::to_string(inode) + "]");
    }

    static test::DiagSocket listening(uint8_t family, uint16_t port, std::array<uint8_t, 16> address, uint32_t inode) {
        test::DiagSocket s;
        s.family = family;
        s.state = 10;
        s.localPort = port;
        s.local = address;
        s.inode = inode;
        s.uid = 1000;
        return s;
    }

    LinuxDevServerPort portFor(std::vector<uint8_t> datagram, size_t* skipped = nullptr) {
        return LinuxDevServerPort(root.path(), [datagram, skipped]() -> Result<std::vector<InetSocket>> {
            std::vector<InetSocket> sockets;
            auto step = SocketDiagDecoding::sockets(datagram, 7, sockets, skipped);
            if (!step) return step.error();
            return sockets;
        });
    }

    test::TempDir root;
};

TEST_F(LinuxDevServerPortFixture, JoinsListeningSocketsWithTheirOwnersAndDirectories) {
    process(300, 290, 100, "/home/u/shop", std::string_view("node\0server.js\0", 15), {5001, 5002});
    process(400, 400, 400, "/home/u/api", std::string_view("./api\0", 6), {6001});
    process(500, 500, 500, "", std::string_view("x\0", 2), {});
    std::vector<uint8_t> dump;
    test::append(dump, test::diagMessage(listening(10, 3000, {}, 5001), 7));            // [::]:3000
    test::append(dump, test::diagMessage(listening(2, 3000, test::ipv4(0, 0, 0, 0), 5002), 7));
    test::append(dump, test::diagMessage(listening(2, 8000, test::ipv4(127, 0, 0, 1), 6001), 7));
    test::append(dump, test::diagMessage(listening(2, 22, test::ipv4(0, 0, 0, 0), 9999), 7));  // sshd: not ours to see
    test::append(dump, test::netlinkDone(7));
    auto port = portFor(dump);
    auto ports = port.listeningPorts();
    using T = ListeningPort::Transport;
    EXPECT_EQ(ports, (std::vector<ListeningPort>{
                         {300, 3000, T::tcp4, "0.0.0.0", "/home/u/shop"},
                         {300, 3000, T::tcp6, "::", "/home/u/shop"},
                         {400, 8000, T::tcp4, "127.0.0.1", "/home/u/api"},
                     }));
    EXPECT_EQ(port.processIDs(), (std::vector<int32_t>{300, 400, 500}));
}

TEST_F(LinuxDevServerPortFixture, AMalformedMessageIsSkippedAndTheRestStand) {
    process(300, 300, 100, "/home/u/shop", std::string_view("node\0", 5), {5001, 5002});
    std::vector<uint8_t> dump;
    test::append(dump, test::diagMessage(listening(2, 3000, test::ipv4(127, 0, 0, 1), 5001), 7));
    // A payload shorter than an inet_diag_msg.
    auto shortPayload = test::diagPayload(listening(2, 4000, test::ipv4(127, 0, 0, 1), 5002));
    shortPayload.resize(40);
    test::append(dump, test::netlinkMessage(20, 7, shortPayload));
    test::append(dump, test::netlinkDone(7));
    size_t skipped = 0;
    auto port = portFor(dump, &skipped);
    auto ports = port.listeningPorts();
    ASSERT_EQ(ports.size(), 1u);
    EXPECT_EQ(ports[0].port, 3000);
    EXPECT_EQ(skipped, 1u);
}

TEST_F(LinuxDevServerPortFixture, ATruncatedDumpOrAnErrorIsASamplingError) {
    auto message = test::diagMessage(listening(2, 3000, test::ipv4(127, 0, 0, 1), 5001), 7);
    message.resize(message.size() - 10);  // the header says more than arrived
    EXPECT_THROW(portFor(message).listeningPorts(), SamplingError);
    EXPECT_THROW(portFor(test::netlinkError(-EPERM, 7)).listeningPorts(), SamplingError);
}

TEST_F(LinuxDevServerPortFixture, DetailsReadArgvGroupAndSession) {
    process(300, 290, 100, "/home/u/shop", std::string_view("node\0server.js\0--port\0" "3000\0", 27), {});
    root.write("proc/300/exe", "#!/bin/sh\n");
    auto port = portFor(test::netlinkDone(7));
    auto details = port.details(300);
    ASSERT_TRUE(details);
    EXPECT_EQ(details->arguments, (std::vector<std::string>{"node", "server.js", "--port", "3000"}));
    EXPECT_EQ(details->processGroup, 290);
    EXPECT_EQ(details->session, 100);
    EXPECT_EQ(details->goBuildID, std::nullopt);
    EXPECT_EQ(port.details(301), std::nullopt);  // gone
    root.write("proc/302/stat", "302 (x) S 1");     // cut short
    EXPECT_EQ(port.details(302), std::nullopt);
}

TEST_F(LinuxDevServerPortFixture, ADeletedWorkingDirectoryIsUnknown) {
    process(300, 300, 100, "/home/u/old (deleted)", std::string_view("node\0", 5), {5001});
    std::vector<uint8_t> dump = test::diagMessage(listening(2, 3000, test::ipv4(127, 0, 0, 1), 5001), 7);
    test::append(dump, test::netlinkDone(7));
    auto ports = portFor(dump).listeningPorts();
    ASSERT_EQ(ports.size(), 1u);
    EXPECT_EQ(ports[0].workingDirectory, std::nullopt);
}

// The kernel's own dump: a socket this test listens on is found with its
// owner (this process), address and directory, in both families.
TEST(LinuxDevServerPortLive, FindsTheTestsOwnListeningSockets) {
    const int v4 = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a4{};
    a4.sin_family = AF_INET;
    a4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size4 = sizeof a4;
    ASSERT_EQ(bind(v4, reinterpret_cast<sockaddr*>(&a4), sizeof a4), 0);
    ASSERT_EQ(listen(v4, 1), 0);
    getsockname(v4, reinterpret_cast<sockaddr*>(&a4), &size4);
    const int v6 = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in6 a6{};
    a6.sin6_family = AF_INET6;
    a6.sin6_addr = in6addr_loopback;
    socklen_t size6 = sizeof a6;
    const bool haveV6 = v6 >= 0 && bind(v6, reinterpret_cast<sockaddr*>(&a6), sizeof a6) == 0 && listen(v6, 1) == 0;
    if (haveV6) getsockname(v6, reinterpret_cast<sockaddr*>(&a6), &size6);

    auto port = makeDevServerPort("/");
    auto ports = port->listeningPorts();
    const std::string cwd = fs::current_path().string();
    const ListeningPort want4{getpid(), ntohs(a4.sin_port), ListeningPort::Transport::tcp4, "127.0.0.1", cwd};
    EXPECT_NE(std::find(ports.begin(), ports.end(), want4), ports.end());
    if (haveV6) {
        const ListeningPort want6{getpid(), ntohs(a6.sin6_port), ListeningPort::Transport::tcp6, "::1", cwd};
        EXPECT_NE(std::find(ports.begin(), ports.end(), want6), ports.end());
    }
    auto details = port->details(getpid());
    ASSERT_TRUE(details);
    ASSERT_FALSE(details->arguments.empty());
    EXPECT_NE(details->arguments[0].find("SamplingTests"), std::string::npos);
    EXPECT_EQ(details->processGroup, getpgrp());
    EXPECT_EQ(details->goBuildID, std::nullopt);
    close(v4);
    if (v6 >= 0) close(v6);
}

}  // namespace
}  // namespace orv
