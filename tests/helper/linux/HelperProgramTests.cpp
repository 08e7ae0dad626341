// The helper program itself, started as a child process on a temporary
// socket: refusal, the real time limits, admission by group, and a client
// whose helper dies mid-request.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <grp.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "Sampling/HelperDevServerPort.h"
#include "Sampling/HelperProcessSource.h"
#include "core/JsonCoding.h"
#include "helper/linux/PeerCredentials.h"
#include "helper/linux/RawHelperClient.h"
#include "support/FakeProcessSource.h"
#include "support/ListeningSocket.h"
#include "support/NetworkNamespace.h"
#include "support/TempDir.h"

extern char** environ;

namespace orv {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using test::ownGroup;
using test::RawHelperClient;

std::string program(const std::string& name) { return std::string(ORVANTINE_BINARY_DIR) + "/helper/" + name; }

// One helper process; killed and reaped at the end of the scope.
class HelperProcess {
public:
    HelperProcess(const std::string& name, const test::TempDir& dir, std::vector<std::string> extra = {}) {
        socketPath = (dir.path() / "helper.sock").string();
        logPath = (dir.path() / "helper.log").string();
        std::vector<std::string> args{program(name), "--socket", socketPath, "--group", ownGroup()};
        args.insert(args.end(), extra.begin(), extra.end());
        std::vector<char*> argv;
        for (auto& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 2, logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        started = Clock::now();
        // No journal here: the helper logs to stderr, which the test reads.
        if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~HelperProcess() {
        if (pid > 0 && !status) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
    }

    // The exit status, once it exits within `limit`; nothing otherwise.
    std::optional<int> waitForExit(std::chrono::milliseconds limit) {
        const auto deadline = Clock::now() + limit;
        while (!status && Clock::now() < deadline) {
            int s = 0;
            if (::waitpid(pid, &s, WNOHANG) == pid) {
                status = WIFEXITED(s) ? WEXITSTATUS(s) : 128 + WTERMSIG(s);
                exitedAt = Clock::now();
                break;
            }
            std::this_thread::sleep_for(20ms);
        }
        return status;
    }

    // Listening, not only bound: a client connecting in between is refused.
    bool waitForSocket() { return test::waitUntilListening(socketPath); }

    std::string log() const {
        std::ifstream in(logPath);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }

    double secondsFrom(Clock::time_point t) const { return std::chrono::duration<double>(exitedAt - t).count(); }

    pid_t pid = -1;
    std::string socketPath;
    std::string logPath;
    Clock::time_point started;
    Clock::time_point exitedAt;
    std::optional<int> status;
};

TEST(HelperProgram, WithoutTeamRefusesWithStatusOneBeforeListening) {
    test::TempDir dir;
    HelperProcess helper("OrvantineHelperNoTeam", dir);
    EXPECT_EQ(helper.waitForExit(10s), std::optional<int>(1));
    EXPECT_EQ(helper.log(), "app.orvantine.helper [helper] error: Helper built without a team ID; refusing to serve\n");
    EXPECT_FALSE(std::filesystem::exists(helper.socketPath));
}

TEST(HelperProgram, NumericTeamCountsAsAbsent) {
    test::TempDir dir;
    HelperProcess helper("OrvantineHelperNumericTeam", dir);
    EXPECT_EQ(helper.waitForExit(10s), std::optional<int>(1));
    EXPECT_NE(helper.log().find("Helper built without a team ID; refusing to serve"), std::string::npos);
}

TEST(HelperProgram, InfoPlistIsBuiltIntoTheBinary) {
    std::ifstream in(program("OrvantineHelperTestTeam"), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(bytes.find("<key>OrvantineTeamID</key>\n\t<string>ORVTEST001</string>"), std::string::npos);
    EXPECT_NE(bytes.find("<key>CFBundleVersion</key>\n\t<string>1</string>"), std::string::npos);
    EXPECT_NE(bytes.find("<key>CFBundleShortVersionString</key>\n\t<string>0.9.0</string>"), std::string::npos);
    std::ifstream none(program("OrvantineHelperNoTeam"), std::ios::binary);
    std::string noneBytes((std::istreambuf_iterator<char>(none)), std::istreambuf_iterator<char>());
    EXPECT_EQ(noneBytes.find("<key>OrvantineTeamID</key>"), std::string::npos);
}

TEST(HelperProgram, NoClientExitsZeroThirtySecondsAfterStartSilently) {
    test::TempDir dir;
    HelperProcess helper("OrvantineHelperTestTeam", dir);
    ASSERT_TRUE(helper.waitForSocket());
    EXPECT_EQ(helper.waitForExit(40s), std::optional<int>(0));
    EXPECT_NEAR(helper.secondsFrom(helper.started), 30.0, 1.5);
    EXPECT_EQ(helper.log(), "");
}

TEST(HelperProgram, ExitsZeroTenSecondsAfterTheLastClientLeft) {
    test::TempDir dir;
    HelperProcess helper("OrvantineHelperTestTeam", dir);
    ASSERT_TRUE(helper.waitForSocket());
    Clock::time_point left;
    {
        RawHelperClient client(helper.socketPath);
        ASSERT_TRUE(client.request("versionWithReply:"));
        auto reply = client.readReply();
        ASSERT_TRUE(reply && *reply);
        EXPECT_EQ(**reply, "1");
        left = Clock::now();
    }
    EXPECT_EQ(helper.waitForExit(25s), std::optional<int>(0));
    EXPECT_NEAR(helper.secondsFrom(left), 10.0, 1.5);
    EXPECT_EQ(helper.log(), "app.orvantine.helper [helper] info: Orvantine has been gone 10 s; exiting\n");
}

TEST(HelperProgram, ShortenedLimitsAreHonoured) {
    test::TempDir dir;
    HelperProcess helper("OrvantineHelperTestTeam", dir, {"--startup-seconds", "1", "--idle-seconds", "0.5"});
    EXPECT_EQ(helper.waitForExit(10s), std::optional<int>(0));
    EXPECT_NEAR(helper.secondsFrom(helper.started), 1.0, 0.8);
}

TEST(HelperProgram, AnswersEveryProcesssNetworkBytes) {
    std::string whyNot;
    auto ns = test::NetworkNamespace::make(whyNot);
    if (!ns) GTEST_SKIP() << whyNot;
    auto server = ns->serve(8081, 1, 50'000);
    ASSERT_TRUE(server);
    test::TempDir dir;
    HelperProcess helper("OrvantineHelperTestTeam", dir, {"--idle-seconds", "0.5"});
    ASSERT_TRUE(helper.waitForSocket());

    // A connection of ours, open, that has sent 50,000 bytes: the server's
    // one-byte answer comes once it has read them all.
    int connection = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(8081);
    ::inet_pton(AF_INET, ns->insideAddress().c_str(), &peer.sin_addr);
    ASSERT_EQ(::connect(connection, reinterpret_cast<sockaddr*>(&peer), sizeof peer), 0);
    std::string data(50'000, 'x');
    ASSERT_EQ(::send(connection, data.data(), data.size(), MSG_NOSIGNAL), ssize_t(data.size()));
    char answer = 0;
    ASSERT_EQ(::read(connection, &answer, 1), 1);

    RawHelperClient client(helper.socketPath);
    ASSERT_TRUE(client.request("sampleWithReply:"));  // the sample shows the helper who ran
    ASSERT_TRUE(client.readReply());
    ASSERT_TRUE(client.request("networkBytesWithReply:"));
    auto reply = client.readReply();
    ASSERT_TRUE(reply && *reply) << helper.log();
    auto bytes = json::decode<NetworkBytesByPID>(**reply);
    ASSERT_TRUE(bytes.contains(::getpid())) << **reply << " " << helper.log();
    EXPECT_EQ(bytes.at(::getpid()).tx, 50'000u);
    EXPECT_EQ(bytes.at(::getpid()).rx, 1u);
    ::close(connection);
}

TEST(HelperProgram, ServesTheApplicationsClientWithRealReadings) {
    test::TempDir dir;
    HelperProcess helper("OrvantineHelperTestTeam", dir, {"--idle-seconds", "0.5"});
    ASSERT_TRUE(helper.waitForSocket());
    auto local = std::make_shared<test::FakeProcessSource>(std::vector<ProcessReading>{test::readingNamed(9, "local")});
    auto source = HelperProcessSource::make(local, std::string("ORVTEST001"), makeHelperTransport({helper.socketPath, ::geteuid()}));
    source->setEnabled(true);
    auto answer = source->sampleWithOrigin().get();
    EXPECT_EQ(answer.origin, HelperProcessSource::Origin::helper);
    bool sawHelper = false;
    for (auto& r : answer.readings) sawHelper |= r.pid == helper.pid;
    EXPECT_TRUE(sawHelper);
    source->setEnabled(false);
    EXPECT_EQ(helper.waitForExit(10s), std::optional<int>(0));
    EXPECT_NE(helper.log().find("Orvantine has been gone 10 s; exiting"), std::string::npos);
}

// A port whose listing says it was the local one that answered.
class LocalPorts : public DevServerPort {
public:
    std::vector<ListeningPort> listeningPorts() override {
        return {ListeningPort{1, 1, ListeningPort::Transport::tcp4, "local", std::nullopt}};
    }
    std::optional<DevProcessDetails> details(int32_t) override { return std::nullopt; }
};

TEST(HelperProgram, AnswersWithEveryListeningPortAndItsOwner) {
    // A socket of the test's own, listening on the loopback address.
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    const uint16_t port = ntohs(address.sin_port);

    test::TempDir dir;
    HelperProcess helper("OrvantineHelperTestTeam", dir, {"--idle-seconds", "0.5"});
    ASSERT_TRUE(helper.waitForSocket());
    HelperDevServerPort ports(std::make_unique<LocalPorts>(), std::string("ORVTEST001"),
                              makeHelperTransport({helper.socketPath, ::geteuid()}));
    auto listed = ports.listeningPorts();
    EXPECT_TRUE(ports.lastFromHelper());
    bool found = false;
    for (const auto& p : listed) {
        found |= p.pid == ::getpid() && p.port == port && p.address == "127.0.0.1" && p.workingDirectory.has_value();
    }
    EXPECT_TRUE(found) << json::encode(listed);
    ::close(listener);
}

TEST(HelperProgram, WithoutAHelperTheLocalPortsAnswer) {
    test::TempDir dir;
    HelperDevServerPort ports(std::make_unique<LocalPorts>(), std::string("ORVTEST001"),
                              makeHelperTransport({(dir.path() / "none.sock").string(), ::geteuid()}));
    auto listed = ports.listeningPorts();
    EXPECT_FALSE(ports.lastFromHelper());
    ASSERT_EQ(listed.size(), 1u);
    EXPECT_EQ(listed[0].address, "local");
}

TEST(HelperProgram, ClientWhoseHelperIsKilledMidRequestGetsItsLocalSampleWithinOneSecond) {
    test::TempDir dir;
    HelperProcess helper("OrvantineHelperTestTeam", dir);
    ASSERT_TRUE(helper.waitForSocket());
    auto local = std::make_shared<test::FakeProcessSource>(std::vector<ProcessReading>{test::readingNamed(9, "local")});
    auto source = HelperProcessSource::make(local, std::string("ORVTEST001"), makeHelperTransport({helper.socketPath, ::geteuid()}));
    source->setEnabled(true);
    ASSERT_EQ(source->sampleWithOrigin().get().origin, HelperProcessSource::Origin::helper);
    // Frozen, it cannot answer; then it dies with the request outstanding.
    ::kill(helper.pid, SIGSTOP);
    const auto asked = Clock::now();
    auto pending = source->sampleWithOrigin();
    std::thread killer([&] {
        std::this_thread::sleep_for(300ms);
        ::kill(helper.pid, SIGKILL);
    });
    ASSERT_EQ(pending.wait_for(2s), std::future_status::ready);
    const double waited = std::chrono::duration<double>(Clock::now() - asked).count();
    killer.join();
    auto answer = pending.get();
    EXPECT_EQ(answer.origin, HelperProcessSource::Origin::local);
    EXPECT_EQ(answer.readings.at(0).name, "local");
    EXPECT_LE(waited, 1.1);
    // The next sample reconnects, finds nobody, and is local at once.
    EXPECT_EQ(source->sampleWithOrigin().get().origin, HelperProcessSource::Origin::local);
}

TEST(HelperProgram, FrozenHelperLeavesTheClientWithItsLocalSampleAfterOneSecond) {
    test::TempDir dir;
    HelperProcess helper("OrvantineHelperTestTeam", dir);
    ASSERT_TRUE(helper.waitForSocket());
    auto local = std::make_shared<test::FakeProcessSource>(std::vector<ProcessReading>{test::readingNamed(9, "local")});
    auto source = HelperProcessSource::make(local, std::string("ORVTEST001"), makeHelperTransport({helper.socketPath, ::geteuid()}));
    source->setEnabled(true);
    ::kill(helper.pid, SIGSTOP);
    const auto asked = Clock::now();
    auto answer = source->sampleWithOrigin().get();
    const double waited = std::chrono::duration<double>(Clock::now() - asked).count();
    EXPECT_EQ(answer.origin, HelperProcessSource::Origin::local);
    EXPECT_GE(waited, 0.99);
    EXPECT_LE(waited, 1.5);  // the limit itself, plus scheduling on a busy machine
    ::kill(helper.pid, SIGKILL);
}

// A child that becomes nobody, with `groups`, and asks the helper for a
// sample by hand (it makes no threads). Exit 0: answered, and some root
// process other than pid 1 came with its path and full usage; 3: refused.
int sampleAsNobody(const std::string& path, std::vector<gid_t> groups) {
    pid_t child = ::fork();
    if (child == 0) {
        if (::setgroups(groups.size(), groups.data()) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(2);
        RawHelperClient client(path);
        if (!client.connected()) ::_exit(4);
        // A refused peer may find the connection closed already as it writes.
        if (!client.request("sampleWithReply:")) ::_exit(3);
        auto reply = client.readReply(std::chrono::seconds(10));
        if (!reply) ::_exit(3);
        if (!*reply) ::_exit(5);
        try {
            for (auto& r : json::decode<std::vector<ProcessReading>>(**reply)) {
                if (r.uid == 0 && r.pid != 1 && r.executablePath && r.isComplete) ::_exit(0);
            }
        } catch (...) {
        }
        ::_exit(6);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class HelperProgramAdmission : public ::testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) GTEST_SKIP() << "needs root to run clients as the user nobody";
        group = groupID("adm");
        if (!group) GTEST_SKIP() << "needs the group adm to stand in for the admitted group";
        ::chmod(dir.path().c_str(), 0755);
        // Mode 0666: the file lets anyone connect, so the refusal is the helper's own.
        helper.emplace("OrvantineHelperTestTeam", dir,
                       std::vector<std::string>{"--group", "adm", "--socket-mode", "0666", "--idle-seconds", "0.5"});
        ASSERT_TRUE(helper->waitForSocket());
    }
    test::TempDir dir;
    std::optional<gid_t> group;
    std::optional<HelperProcess> helper;
};

TEST_F(HelperProgramAdmission, PeerOutsideTheGroupIsRefusedByTheHelper) {
    EXPECT_EQ(sampleAsNobody(helper->socketPath, {}), 3);
    // Counted open, then ended: the idle rule ends the helper.
    EXPECT_EQ(helper->waitForExit(10s), std::optional<int>(0));
    const auto log = helper->log();
    EXPECT_NE(log.find("Refused peer uid 65534 gid 65534"), std::string::npos) << log;
    EXPECT_NE(log.find("Orvantine has been gone 10 s; exiting"), std::string::npos) << log;
}

TEST_F(HelperProgramAdmission, SupplementaryMemberGetsRootsPathsAndCounters) {
    EXPECT_EQ(sampleAsNobody(helper->socketPath, {*group}), 0);
}

}  // namespace
}  // namespace orv
