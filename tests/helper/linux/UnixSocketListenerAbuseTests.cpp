// The listener against admitted clients that misbehave: too many
// connections, replies never read, frames never finished, and a socket
// path someone replaced with a link.
#include <gtest/gtest.h>

#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "Sampling/HelperProcessSource.h"
#include "core/CapturingLogSink.h"
#include "helper/linux/RawHelperClient.h"
#include "helper/linux/UnixSocketListener.h"
#include "support/FakeProcessSource.h"
#include "support/ManualTimerQueue.h"
#include "support/TempDir.h"
#include "support/TestExecutor.h"

namespace orv {
namespace {

using namespace std::chrono_literals;
using test::RawHelperClient;

std::string primaryGroupName() {
    group* g = ::getgrgid(::getegid());
    return g ? g->gr_name : "root";
}

size_t countContaining(const std::vector<std::string>& messages, std::string_view part) {
    size_t n = 0;
    for (auto& m : messages) n += m.find(part) != std::string::npos;
    return n;
}

class UnixSocketListenerAbuseTest : public ::testing::Test {
protected:
    void SetUp() override {
        options = HelperOptions::defaults();
        options.socketPath = path();
        options.admittedGroup = primaryGroupName();
        sampler->setReadings({test::readingNamed(1, "init")});
    }
    void TearDown() override {
        if (!listener) return;
        listener->stop();
        server.join();
        executor.run([] {}).get();
        listener.reset();
    }

    bool start() {
        ListenerDelegate::Lifetime lifetime;
        lifetime.exit = [](int) {};
        PropertyValue::Dictionary info{{"CFBundleVersion", "1"}};
        delegate = std::make_shared<ListenerDelegate>(
            std::make_shared<HelperService>(sampler, PropertyValue(info), executor), "requirement", timers, lifetime);
        listener = std::make_unique<UnixSocketListener>(delegate, options);
        if (!listener->resume()) {
            listener.reset();
            return false;
        }
        server = std::thread([this] { listener->run(); });
        return true;
    }

    std::string path() const { return (dir.path() / "helper.sock").string(); }

    bool answersVersion(RawHelperClient& client) {
        if (!client.request("versionWithReply:")) return false;
        auto reply = client.readReply(5s);
        return reply && *reply && **reply == "1";
    }

    ScopedLogCapture logs;
    test::TempDir dir;
    SamplingExecutor& executor = test::testExecutor();
    test::ManualTimerQueue timers;
    HelperOptions options;
    std::shared_ptr<test::FakeProcessSource> sampler = std::make_shared<test::FakeProcessSource>();
    std::shared_ptr<ListenerDelegate> delegate;
    std::unique_ptr<UnixSocketListener> listener;
    std::thread server;
};

TEST_F(UnixSocketListenerAbuseTest, OneClientBeyondItsCapIsClosedAtOnceCountedAndLoggedOnce) {
    options.maxSessionsPerClient = 3;
    ASSERT_TRUE(start());
    std::vector<std::unique_ptr<RawHelperClient>> held;
    for (int i = 0; i < 3; ++i) {
        held.push_back(std::make_unique<RawHelperClient>(path()));
        ASSERT_TRUE(answersVersion(*held.back()));
    }
    std::vector<std::unique_ptr<RawHelperClient>> extra;
    for (int i = 0; i < 5; ++i) {
        extra.push_back(std::make_unique<RawHelperClient>(path()));
        EXPECT_TRUE(extra.back()->closedByPeer(2s)) << i;
    }
    EXPECT_EQ(listener->closedOverCap(), 5u);
    EXPECT_EQ(countContaining(logs.messages(), "closing its new connections until one ends"), 1u);
    // Only sessions count for the lifetime rules.
    EXPECT_EQ(delegate->connections(), 3);

    // One session ends: the episode is over and a place is free again.
    held.pop_back();
    for (int i = 0; i < 200 && delegate->connections() != 2; ++i) std::this_thread::sleep_for(10ms);
    RawHelperClient again(path());
    EXPECT_TRUE(answersVersion(again));
    RawHelperClient beyond(path());
    EXPECT_TRUE(beyond.closedByPeer(2s));
    EXPECT_EQ(countContaining(logs.messages(), "closing its new connections until one ends"), 2u);
}

TEST_F(UnixSocketListenerAbuseTest, AnotherClientIsServedWhileOneHoldsItsWholeShare) {
    options.maxSessionsPerClient = 4;
    ASSERT_TRUE(start());
    // The child holds far more than its share and waits until told to go.
    int go[2], ready[2];
    ASSERT_EQ(::pipe(go), 0);
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::vector<std::unique_ptr<RawHelperClient>> clients;
        for (int i = 0; i < 50; ++i) clients.push_back(std::make_unique<RawHelperClient>(path()));
        char byte = 'r';
        (void)!::write(ready[1], &byte, 1);
        (void)!::read(go[0], &byte, 1);
        ::_exit(0);
    }
    char byte = 0;
    const bool childReady = ::read(ready[0], &byte, 1) == 1;
    for (int i = 0; i < 300 && listener->closedOverCap() < 46; ++i) std::this_thread::sleep_for(10ms);
    const uint64_t closed = listener->closedOverCap();
    RawHelperClient other(path());
    const bool served = answersVersion(other);
    (void)!::write(go[1], "g", 1);
    int status = 0;
    ::waitpid(child, &status, 0);
    for (int fd : {go[0], go[1], ready[0], ready[1]}) ::close(fd);
    EXPECT_TRUE(childReady);
    EXPECT_EQ(closed, 46u);
    EXPECT_TRUE(served);
}

TEST_F(UnixSocketListenerAbuseTest, AllClientsTogetherAreCapped) {
    options.maxSessions = 2;
    ASSERT_TRUE(start());
    RawHelperClient a(path()), b(path());
    ASSERT_TRUE(answersVersion(a));
    ASSERT_TRUE(answersVersion(b));
    RawHelperClient c(path());
    EXPECT_TRUE(c.closedByPeer(2s));
    EXPECT_EQ(countContaining(logs.messages(), "2 sessions open; closing new connections until one ends"), 1u);
}

TEST_F(UnixSocketListenerAbuseTest, AReplyTheClientNeverReadsEndsTheSessionAfterTheWriteLimit) {
    // Far more than the socket's buffers hold.
    std::vector<ProcessReading> many;
    for (int i = 0; i < 20000; ++i) many.push_back(test::readingNamed(i + 1, std::string(40, 'x')));
    sampler->setReadings(many);
    options.writeLimit = Duration::milliseconds(300);
    ASSERT_TRUE(start());
    RawHelperClient client(path());
    ASSERT_TRUE(client.request("sampleWithReply:"));
    for (int i = 0; i < 500 && delegate->connections() != 1; ++i) std::this_thread::sleep_for(10ms);
    ASSERT_EQ(delegate->connections(), 1);
    for (int i = 0; i < 500 && delegate->connections() != 0; ++i) std::this_thread::sleep_for(10ms);
    EXPECT_EQ(delegate->connections(), 0);
    EXPECT_EQ(countContaining(logs.messages(), "not read within 0.3 s"), 1u);
}

TEST_F(UnixSocketListenerAbuseTest, AHalfSentFrameEndsTheSessionAfterTheFrameLimit) {
    options.frameLimit = Duration::milliseconds(200);
    ASSERT_TRUE(start());
    RawHelperClient client(path());
    const std::string frame = HelperFrame::frame("sampleWithReply:");
    ASSERT_TRUE(client.sendBytes(std::string_view(frame).substr(0, 6)));
    const auto sent = std::chrono::steady_clock::now();
    EXPECT_TRUE(client.closedByPeer(3s));
    EXPECT_GE(std::chrono::steady_clock::now() - sent, 150ms);
    EXPECT_EQ(countContaining(logs.messages(), "request not completed within 0.2 s"), 1u);
}

TEST_F(UnixSocketListenerAbuseTest, AnIdleClientIsNeverTimedOut) {
    options.frameLimit = Duration::milliseconds(100);
    options.writeLimit = Duration::milliseconds(100);
    ASSERT_TRUE(start());
    RawHelperClient client(path());
    ASSERT_TRUE(answersVersion(client));
    EXPECT_FALSE(client.closedByPeer(600ms));
    EXPECT_TRUE(answersVersion(client));
    EXPECT_EQ(delegate->connections(), 1);
}

TEST_F(UnixSocketListenerAbuseTest, FullFramesInPiecesAreServed) {
    options.frameLimit = Duration::milliseconds(500);
    ASSERT_TRUE(start());
    RawHelperClient client(path());
    const std::string frame = HelperFrame::frame("versionWithReply:");
    for (char c : frame) {
        ASSERT_TRUE(client.sendBytes(std::string_view(&c, 1)));
        std::this_thread::sleep_for(5ms);
    }
    auto reply = client.readReply(5s);
    ASSERT_TRUE(reply && *reply);
    EXPECT_EQ(**reply, "1");
}

TEST_F(UnixSocketListenerAbuseTest, TheModeIsTheConfiguredOneWhateverTheUmask) {
    options.socketMode = 0666;
    const mode_t previous = ::umask(077);
    const bool started = start();
    ::umask(previous);
    ASSERT_TRUE(started);
    struct stat st{};
    ASSERT_EQ(::lstat(path().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0666u);
}

TEST_F(UnixSocketListenerAbuseTest, ALinkInTheSocketsPlaceIsNeitherFollowedNorReplaced) {
    const std::string victim = (dir.path() / "victim").string();
    std::ofstream(victim) << "x";
    ::chmod(victim.c_str(), 0600);
    ASSERT_EQ(::symlink(victim.c_str(), path().c_str()), 0);
    options.socketMode = 0666;
    EXPECT_FALSE(start());
    struct stat st{};
    ASSERT_EQ(::stat(victim.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    ASSERT_EQ(::lstat(path().c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
}

TEST_F(UnixSocketListenerAbuseTest, TheClientFallsBackWhenTheListenerRunsAsAnotherUser) {
    ASSERT_TRUE(start());
    auto local = std::make_shared<test::FakeProcessSource>(std::vector<ProcessReading>{test::readingNamed(9, "local")});
    const uint32_t someoneElse = ::geteuid() + 1;
    auto source = HelperProcessSource::make(local, std::string("ABCDE12345"), makeHelperTransport({path(), someoneElse}),
                                            TimerQueue::shared(), executor);
    source->setEnabled(true);
    auto answer = source->sampleWithOrigin().get();
    EXPECT_EQ(answer.origin, HelperProcessSource::Origin::local);
    ASSERT_EQ(answer.readings.size(), 1u);
    EXPECT_EQ(answer.readings[0].name, "local");
    EXPECT_EQ(countContaining(logs.messages(), "Helper unreachable: The process listening on " + path() +
                                                   " runs as uid " + std::to_string(::geteuid())),
              1u);
    source->setEnabled(false);
}

}  // namespace
}  // namespace orv
