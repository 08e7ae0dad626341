#include <gtest/gtest.h>

#include <dirent.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include "Sampling/HelperProcessSource.h"
#include "core/CapturingLogSink.h"
#include "core/JsonCoding.h"
#include "helper/linux/RawHelperClient.h"
#include "helper/linux/PeerCredentials.h"
#include "helper/linux/UnixSocketListener.h"
#include "support/FakeProcessSource.h"
#include "support/TestExecutor.h"
#include "support/ManualTimerQueue.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using namespace std::chrono_literals;
using test::RawHelperClient;

size_t openDescriptors() {
    size_t n = 0;
    if (DIR* d = ::opendir("/proc/self/fd")) {
        while (::readdir(d)) ++n;
        ::closedir(d);
    }
    return n;
}

std::string primaryGroupName() {
    group* g = ::getgrgid(::getegid());
    return g ? g->gr_name : "root";
}

// The helper's listener served inside the test process, on a temporary
// socket, with a fake sampler and exits recorded.
class UnixSocketListenerTest : public ::testing::Test {
protected:
    void SetUp() override {
        sampler->setReadings({test::readingNamed(1, "init"), test::readingNamed(2, "kthreadd")});
        start();
    }
    void TearDown() override { stopListener(); }

    void start(const std::string& group = primaryGroupName(), unsigned mode = 0660) {
        HelperOptions options = HelperOptions::defaults();
        options.socketPath = (dir.path() / "helper.sock").string();
        options.admittedGroup = group;
        options.socketMode = mode;
        // This one process plays up to fifty clients at once.
        options.maxSessionsPerClient = 64;
        ListenerDelegate::Lifetime lifetime;
        lifetime.exit = [this](int status) { exits.push_back(status); };
        PropertyValue::Dictionary info{{"CFBundleVersion", "1"}};
        delegate = std::make_shared<ListenerDelegate>(
            std::make_shared<HelperService>(sampler, PropertyValue(info), executor), "requirement", timers, lifetime);
        listener = std::make_unique<UnixSocketListener>(delegate, options);
        ASSERT_TRUE(listener->resume());
        server = std::thread([this] { listener->run(); });
    }

    void stopListener() {
        if (!listener) return;
        listener->stop();
        server.join();
        // Replies still queued on the executor finish before the listener goes.
        executor.run([] {}).get();
        listener.reset();
    }

    std::string path() const { return (dir.path() / "helper.sock").string(); }

    void waitForConnections(int64_t n) {
        for (int i = 0; i < 500 && delegate->connections() != n; ++i) std::this_thread::sleep_for(10ms);
        EXPECT_EQ(delegate->connections(), n);
    }

    ScopedLogCapture logs;
    test::TempDir dir;
    SamplingExecutor& executor = test::testExecutor();
    test::ManualTimerQueue timers;
    std::vector<int> exits;
    std::shared_ptr<test::FakeProcessSource> sampler = std::make_shared<test::FakeProcessSource>();
    std::shared_ptr<ListenerDelegate> delegate;
    std::unique_ptr<UnixSocketListener> listener;
    std::thread server;
};

TEST_F(UnixSocketListenerTest, SocketFileHasTheConfiguredMode) {
    struct stat st{};
    ASSERT_EQ(::stat(path().c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0660u);
}

TEST_F(UnixSocketListenerTest, AnswersTheVersion) {
    RawHelperClient client(path());
    ASSERT_TRUE(client.request("versionWithReply:"));
    auto reply = client.readReply();
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(*reply, std::optional<std::string>("1"));
}

TEST_F(UnixSocketListenerTest, AnswersASampleWithTheJsonOfTheReadings) {
    RawHelperClient client(path());
    ASSERT_TRUE(client.request("sampleWithReply:"));
    auto reply = client.readReply();
    ASSERT_TRUE(reply.has_value() && reply->has_value());
    auto readings = json::decode<std::vector<ProcessReading>>(**reply);
    EXPECT_EQ(readings, (std::vector<ProcessReading>{test::readingNamed(1, "init"), test::readingNamed(2, "kthreadd")}));
}

TEST_F(UnixSocketListenerTest, PipelinedRequestsAreAnsweredInOrder) {
    RawHelperClient client(path());
    ASSERT_TRUE(client.sendBytes(HelperFrame::frame("sampleWithReply:") + HelperFrame::frame("versionWithReply:")));
    auto first = client.readReply();
    auto second = client.readReply();
    ASSERT_TRUE(first && *first && second && *second);
    EXPECT_EQ((*first)->front(), '[');
    EXPECT_EQ(**second, "1");
}

TEST_F(UnixSocketListenerTest, CountsConnectionsOpenAndEnded) {
    {
        RawHelperClient a(path());
        RawHelperClient b(path());
        waitForConnections(2);
    }
    waitForConnections(0);
    EXPECT_EQ(delegate->generation(), 4);
}

TEST_F(UnixSocketListenerTest, ServesTheApplicationsClient) {
    auto local = std::make_shared<test::FakeProcessSource>(std::vector<ProcessReading>{test::readingNamed(9, "local")});
    auto source = HelperProcessSource::make(local, std::string("ABCDE12345"), makeHelperTransport({path(), ::geteuid()}),
                                            TimerQueue::shared(), executor);
    source->setEnabled(true);
    auto answer = source->sampleWithOrigin().get();
    EXPECT_EQ(answer.origin, HelperProcessSource::Origin::helper);
    ASSERT_EQ(answer.readings.size(), 2u);
    EXPECT_EQ(answer.readings[1].name, "kthreadd");
    source->setEnabled(false);
    waitForConnections(0);
}

TEST_F(UnixSocketListenerTest, RequestOverFourKilobytesClosesOnlyThatConnection) {
    RawHelperClient good(path());
    RawHelperClient bad(path());
    ASSERT_TRUE(bad.sendBytes(HelperFrame::header(4097)));
    EXPECT_TRUE(bad.closedByPeer());
    ASSERT_TRUE(good.request("versionWithReply:"));
    EXPECT_TRUE(good.readReply().has_value());
    EXPECT_EQ(logs.sink().count("Closing connection from pid " + std::to_string(::getpid()) +
                                ": request of 4097 bytes is over the 4096-byte limit"),
              1u);
}

TEST_F(UnixSocketListenerTest, UnknownMethodClosesOnlyThatConnection) {
    RawHelperClient good(path());
    RawHelperClient bad(path());
    ASSERT_TRUE(bad.request("terminateWithReply:"));
    EXPECT_TRUE(bad.closedByPeer());
    ASSERT_TRUE(good.request("sampleWithReply:"));
    EXPECT_TRUE(good.readReply().has_value());
    EXPECT_EQ(logs.sink().count("Closing connection from pid " + std::to_string(::getpid()) +
                                ": unknown method of 19 bytes"),
              1u);
}

TEST_F(UnixSocketListenerTest, TruncatedFrameIsLoggedWhenThePeerLeaves) {
    {
        RawHelperClient bad(path());
        ASSERT_TRUE(bad.sendBytes(HelperFrame::header(16) + "sample"));
        waitForConnections(1);
    }
    waitForConnections(0);
    EXPECT_EQ(logs.sink().count("Closing connection from pid " + std::to_string(::getpid()) +
                                ": truncated request (10 bytes)"),
              1u);
}

TEST_F(UnixSocketListenerTest, PeerVanishingBeforeItsReplyLosesNothingElse) {
    sampler->setReadings(std::vector<ProcessReading>(2000, test::readingNamed(3, "many")));
    {
        RawHelperClient gone(path());
        ASSERT_TRUE(gone.request("sampleWithReply:"));
    }
    RawHelperClient good(path());
    ASSERT_TRUE(good.request("sampleWithReply:"));
    auto reply = good.readReply();
    ASSERT_TRUE(reply && *reply);
    EXPECT_EQ(json::decode<std::vector<ProcessReading>>(**reply).size(), 2000u);
    good.close();
    waitForConnections(0);
}

TEST_F(UnixSocketListenerTest, FiftyClientsTimesHundredRequestsAreAllAnsweredWithoutLeaks) {
    const size_t before = openDescriptors();
    std::atomic<int> answered{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < 50; ++c) {
        clients.emplace_back([&, c] {
            RawHelperClient client(path());
            for (int i = 0; i < 100; ++i) {
                const bool sample = (i + c) % 2 == 0;
                if (!client.request(sample ? "sampleWithReply:" : "versionWithReply:")) return;
                auto reply = client.readReply(30s);
                if (reply && *reply && ((*reply)->front() == '[') == sample) ++answered;
            }
        });
    }
    for (auto& t : clients) t.join();
    EXPECT_EQ(answered, 5000);
    waitForConnections(0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(UnixSocketListenerTest, ThousandMalformedFramesNeverStopTheService) {
    std::mt19937 random(20261121);
    RawHelperClient good(path());
    int served = 0;
    for (int i = 0; i < 1000; ++i) {
        RawHelperClient bad(path());
        std::string bytes;
        switch (i % 4) {
            case 0: {  // random bytes
                bytes.resize(1 + random() % 64);
                for (auto& b : bytes) b = char(random());
                break;
            }
            case 1:  // a header cut short
                bytes = HelperFrame::header(uint32_t(random())).substr(0, 1 + random() % 3);
                break;
            case 2:  // a length up to 0xFFFFFFFF with a little of its body
                bytes = HelperFrame::header(i % 8 == 2 ? 0xFFFFFFFFu : uint32_t(random()) | 0x1000u) + "xyz";
                break;
            case 3:  // a plausible length, body cut short
                bytes = HelperFrame::header(16) + std::string("sampleWith").substr(0, size_t(random() % 10));
                break;
        }
        bad.sendBytes(bytes);
        if (i % 50 == 0) {
            ASSERT_TRUE(good.request("versionWithReply:"));
            auto reply = good.readReply();
            ASSERT_TRUE(reply && *reply) << "after " << i << " malformed frames";
            ++served;
        }
    }
    EXPECT_EQ(served, 20);
    // The last malformed peers may still wait in the listen queue, and each
    // one accepted there lifts the count from zero again. The queue is served
    // in order, so once a peer that connected after all of them is answered,
    // every one has been accepted and the count can only fall.
    {
        RawHelperClient last(path());
        ASSERT_TRUE(last.request("versionWithReply:"));
        ASSERT_TRUE(last.readReply().has_value());
    }
    good.close();
    waitForConnections(0);
    RawHelperClient after(path());
    ASSERT_TRUE(after.request("sampleWithReply:"));
    EXPECT_TRUE(after.readReply().has_value());
}

// A child that becomes `uid` with `groups` and asks for the version; exit
// status 0 when answered, 3 when the helper closed the connection.
int versionAs(const std::string& path, uid_t uid, gid_t gid, std::vector<gid_t> groups) {
    pid_t child = ::fork();
    if (child == 0) {
        if (::setgroups(groups.size(), groups.data()) != 0 || ::setgid(gid) != 0 || ::setuid(uid) != 0) ::_exit(2);
        RawHelperClient client(path);
        if (!client.connected()) ::_exit(4);
        client.request("versionWithReply:");
        auto reply = client.readReply(std::chrono::seconds(5));
        ::_exit(reply ? 0 : 3);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class UnixSocketAdmissionTest : public UnixSocketListenerTest {
protected:
    void SetUp() override {
        if (::geteuid() != 0) GTEST_SKIP() << "needs root to connect as other users";
        // "adm" stands in for the admitted group; the socket's mode is opened
        // so that only the helper's own check can refuse.
        admitted = groupID("adm");
        if (!admitted) GTEST_SKIP() << "needs the group adm";
        ::chmod(dir.path().c_str(), 0755);
        start("adm", 0666);
    }
    std::optional<gid_t> admitted;
};

TEST_F(UnixSocketAdmissionTest, PeerOutsideTheGroupIsRefusedAndCounted) {
    EXPECT_EQ(versionAs(path(), 65534, 65534, {}), 3);
    waitForConnections(0);
    EXPECT_EQ(delegate->generation(), 2);
    EXPECT_EQ(logs.sink().count("Closing connection from pid"), 0u);
    bool refusedLogged = false;
    for (auto& m : logs.messages()) refusedLogged |= m.rfind("Refused peer uid 65534 gid 65534", 0) == 0;
    EXPECT_TRUE(refusedLogged);
}

TEST_F(UnixSocketAdmissionTest, SupplementaryMemberIsAdmitted) {
    EXPECT_EQ(versionAs(path(), 65534, 65534, {*admitted}), 0);
}

TEST_F(UnixSocketAdmissionTest, PrimaryMemberIsAdmitted) { EXPECT_EQ(versionAs(path(), 65534, *admitted, {}), 0); }

TEST_F(UnixSocketAdmissionTest, RootIsAdmitted) { EXPECT_EQ(versionAs(path(), 0, 0, {}), 0); }

}  // namespace
}  // namespace orv
