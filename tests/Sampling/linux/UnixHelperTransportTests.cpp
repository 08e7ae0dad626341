#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <future>
#include <thread>

#include "HelperProtocol/HelperFrame.h"
#include "Sampling/HelperTransport.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using namespace std::chrono_literals;

// A stand-in helper that accepts one connection, reads one request and
// answers with whatever bytes the test gives it.
class ScriptedHelper {
public:
    explicit ScriptedHelper(const std::string& path) : path_(path) {
        fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.data(), path.size());
        ::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::listen(fd_, 4);
    }
    ~ScriptedHelper() {
        if (thread_.joinable()) thread_.join();
        if (kept_ >= 0) ::close(kept_);
        ::close(fd_);
    }

    // Answers the next request with `reply`; the request's bytes come back
    // through the future.
    std::future<std::string> answerWith(std::string reply, bool closeAfter = true) {
        auto promise = std::make_shared<std::promise<std::string>>();
        auto future = promise->get_future();
        thread_ = std::thread([this, reply, closeAfter, promise] {
            int peer = ::accept(fd_, nullptr, nullptr);
            char buffer[64];
            ssize_t n = ::recv(peer, buffer, sizeof buffer, 0);
            promise->set_value(std::string(buffer, size_t(std::max<ssize_t>(n, 0))));
            ::send(peer, reply.data(), reply.size(), MSG_NOSIGNAL);
            if (closeAfter) ::close(peer);
            else kept_ = peer;
        });
        return future;
    }

private:
    std::string path_;
    int fd_ = -1;
    int kept_ = -1;
    std::thread thread_;
};

struct Outcome {
    std::optional<std::optional<std::string>> reply;
    std::optional<std::string> error;
};

class UnixHelperTransportTest : public ::testing::Test {
protected:
    std::string path() const { return (dir.path() / "helper.sock").string(); }

    Outcome sendAndWait(HelperConnection& connection, HelperProtocol::Method method) {
        auto promise = std::make_shared<std::promise<Outcome>>();
        auto future = promise->get_future();
        connection.send(
            method, [promise](std::optional<std::string> data) { promise->set_value(Outcome{std::move(data), {}}); },
            [promise](const std::string& why) { promise->set_value(Outcome{{}, why}); });
        EXPECT_EQ(future.wait_for(5s), std::future_status::ready);
        return future.get();
    }

    test::TempDir dir;
};

TEST_F(UnixHelperTransportTest, SendsTheSelectorAndReadsTheData) {
    ScriptedHelper helper(path());
    auto request = helper.answerWith(HelperFrame::frame(HelperFrame::replyPayload(std::string_view("[]"))));
    auto connection = makeHelperTransport({path(), ::geteuid()})->connect("requirement");
    connection->resume();
    auto outcome = sendAndWait(*connection, HelperProtocol::Method::sample);
    EXPECT_EQ(request.get(), HelperFrame::frame("sampleWithReply:"));
    ASSERT_TRUE(outcome.reply.has_value());
    EXPECT_EQ(*outcome.reply, std::optional<std::string>("[]"));
}

TEST_F(UnixHelperTransportTest, NoDataIsAnAbsentReply) {
    ScriptedHelper helper(path());
    helper.answerWith(HelperFrame::frame(HelperFrame::replyPayload(std::nullopt)));
    auto connection = makeHelperTransport({path(), ::geteuid()})->connect("requirement");
    connection->resume();
    auto outcome = sendAndWait(*connection, HelperProtocol::Method::sample);
    ASSERT_TRUE(outcome.reply.has_value());
    EXPECT_FALSE(outcome.reply->has_value());
}

TEST_F(UnixHelperTransportTest, ReplyOverTheLimitFailsAndInvalidates) {
    ScriptedHelper helper(path());
    helper.answerWith(HelperFrame::header(HelperFrame::maxReplyBytes + 1), false);
    auto connection = makeHelperTransport({path(), ::geteuid()})->connect("requirement");
    std::promise<void> invalidated;
    connection->setInvalidationHandler([&] { invalidated.set_value(); });
    connection->resume();
    auto outcome = sendAndWait(*connection, HelperProtocol::Method::sample);
    ASSERT_TRUE(outcome.error.has_value());
    EXPECT_EQ(*outcome.error, "The helper announced a reply of 268435457 bytes, over the limit");
    EXPECT_EQ(invalidated.get_future().wait_for(5s), std::future_status::ready);
}

TEST_F(UnixHelperTransportTest, MalformedReplyFails) {
    ScriptedHelper helper(path());
    helper.answerWith(HelperFrame::frame(std::string("\x07junk")));
    auto connection = makeHelperTransport({path(), ::geteuid()})->connect("requirement");
    connection->resume();
    auto outcome = sendAndWait(*connection, HelperProtocol::Method::sample);
    EXPECT_EQ(outcome.error, std::optional<std::string>("The helper sent a malformed reply"));
}

TEST_F(UnixHelperTransportTest, HelperClosingMidReplyFails) {
    ScriptedHelper helper(path());
    helper.answerWith(HelperFrame::header(100) + "\x01[{");
    auto connection = makeHelperTransport({path(), ::geteuid()})->connect("requirement");
    connection->resume();
    auto outcome = sendAndWait(*connection, HelperProtocol::Method::sample);
    EXPECT_EQ(outcome.error, std::optional<std::string>("The helper closed the connection"));
}

TEST_F(UnixHelperTransportTest, NoHelperFailsWithTheReason) {
    auto connection = makeHelperTransport({path(), ::geteuid()})->connect("requirement");
    connection->resume();
    auto outcome = sendAndWait(*connection, HelperProtocol::Method::version);
    EXPECT_EQ(outcome.error, std::optional<std::string>("Cannot connect to " + path() + ": No such file or directory"));
}

TEST_F(UnixHelperTransportTest, InvalidationIsReportedOnceAndLaterRequestsFail) {
    auto connection = makeHelperTransport({path(), ::geteuid()})->connect("requirement");
    std::atomic<int> invalidations{0};
    connection->setInvalidationHandler([&] { ++invalidations; });
    connection->resume();
    connection->invalidate();
    connection->invalidate();
    auto outcome = sendAndWait(*connection, HelperProtocol::Method::sample);
    EXPECT_EQ(outcome.error, std::optional<std::string>("Connection invalid"));
    for (int i = 0; i < 100 && invalidations == 0; ++i) std::this_thread::sleep_for(5ms);
    EXPECT_EQ(invalidations, 1);
}

TEST_F(UnixHelperTransportTest, DefaultPathIsTheBuiltInSocket) {
    auto connection = makeHelperTransport()->connect("requirement");
    connection->resume();
    auto outcome = sendAndWait(*connection, HelperProtocol::Method::version);
    ASSERT_TRUE(outcome.error.has_value() || outcome.reply.has_value());
    // Unless a helper really runs here, the failure names the built-in path.
    if (outcome.error) {
        EXPECT_NE(outcome.error->find("/run/orvantine/helper.sock"), std::string::npos) << *outcome.error;
    }
}

TEST_F(UnixHelperTransportTest, APeerRunningAsAnotherUserIsNotTrustedAndGetsNoRequest) {
    ScriptedHelper helper(path());
    auto request = helper.answerWith(HelperFrame::frame(std::string("\x01invented", 9)));
    const uint32_t someoneElse = ::geteuid() + 1;
    auto connection = makeHelperTransport({path(), someoneElse})->connect("requirement");
    connection->resume();
    auto outcome = sendAndWait(*connection, HelperProtocol::Method::sample);
    EXPECT_FALSE(outcome.reply.has_value());
    ASSERT_TRUE(outcome.error.has_value());
    EXPECT_EQ(*outcome.error, "The process listening on " + path() + " runs as uid " + std::to_string(::geteuid()) +
                                  ", not uid " + std::to_string(someoneElse) + "; not trusting it");
    // The request itself never went out.
    EXPECT_EQ(request.get(), "");
}

}  // namespace
}  // namespace orv
