#include <gtest/gtest.h>

#include <chrono>
#include <deque>

#include "Sampling/HelperNetworkSource.h"
#include "Sampling/HelperProcessSource.h"
#include "Sampling/ResumeOnce.h"
#include "core/CapturingLogSink.h"
#include "core/JsonCoding.h"
#include "support/FakeProcessNetwork.h"
#include "support/FakeProcessSource.h"
#include "support/TestExecutor.h"
#include "support/ManualTimerQueue.h"

namespace orv {
namespace {

using namespace std::chrono_literals;
using test::FakeProcessSource;
using test::ManualTimerQueue;
using test::readingNamed;

// A connection whose requests wait until the test answers them.
class FakeConnection : public HelperConnection {
public:
    struct Pending {
        HelperProtocol::Method method;
        Reply reply;
        ErrorHandler onError;
    };

    void setInvalidationHandler(std::function<void()> handler) override {
        std::lock_guard lock(mutex_);
        onInvalidated_ = std::move(handler);
    }
    void resume() override { resumed = true; }
    void send(HelperProtocol::Method method, Reply reply, ErrorHandler onError) override {
        std::lock_guard lock(mutex_);
        pending_.push_back(Pending{method, std::move(reply), std::move(onError)});
    }
    void invalidate() override {
        if (invalidated.exchange(true)) return;
        std::function<void()> handler;
        {
            std::lock_guard lock(mutex_);
            handler = onInvalidated_;
        }
        if (handler) handler();
    }

    // The system ending the connection (the helper exited).
    void invalidateFromPeer() { invalidate(); }

    std::optional<Pending> takeRequest() {
        std::lock_guard lock(mutex_);
        if (pending_.empty()) return std::nullopt;
        auto p = std::move(pending_.front());
        pending_.pop_front();
        return p;
    }
    size_t requestCount() {
        std::lock_guard lock(mutex_);
        return pending_.size();
    }

    std::atomic<bool> resumed{false};
    std::atomic<bool> invalidated{false};

private:
    std::mutex mutex_;
    std::deque<Pending> pending_;
    std::function<void()> onInvalidated_;
};

// A list the sampling thread appends to while the test thread reads it;
// every access copies under the lock.
template <class T>
class LockedList {
public:
    void push_back(T value) {
        std::lock_guard lock(mutex_);
        items_.push_back(std::move(value));
    }
    bool empty() const {
        std::lock_guard lock(mutex_);
        return items_.empty();
    }
    size_t size() const {
        std::lock_guard lock(mutex_);
        return items_.size();
    }
    T back() const {
        std::lock_guard lock(mutex_);
        return items_.back();
    }
    T at(size_t i) const {
        std::lock_guard lock(mutex_);
        return items_.at(i);
    }
    T operator[](size_t i) const { return at(i); }

private:
    mutable std::mutex mutex_;
    std::vector<T> items_;
};

class FakeTransport : public HelperTransport {
public:
    std::shared_ptr<HelperConnection> connect(const std::string& requirement) override {
        requirements.push_back(requirement);
        auto c = std::make_shared<FakeConnection>();
        made.push_back(c);
        return c;
    }
    LockedList<std::string> requirements;
    LockedList<std::shared_ptr<FakeConnection>> made;
};

class HelperProcessSourceTest : public ::testing::Test {
protected:
    void SetUp() override { local->setReadings({readingNamed(1, "local")}); }

    std::shared_ptr<HelperProcessSource> makeSource(std::optional<std::string> team = std::string("ABCDE12345")) {
        return HelperProcessSource::make(local, std::move(team), transport, timers, executor);
    }

    // Waits until the source has sent its request, then hands it over.
    FakeConnection::Pending nextRequest() {
        for (int i = 0; i < 400; ++i) {
            if (!transport->made.empty()) {
                if (auto r = transport->made.back()->takeRequest()) return std::move(*r);
            }
            std::this_thread::sleep_for(5ms);
        }
        ADD_FAILURE() << "no request reached the helper";
        return {};
    }

    template <class T>
    static T await(std::future<T>& f) {
        EXPECT_EQ(f.wait_for(5s), std::future_status::ready);
        return f.get();
    }

    static std::string helperJSON() { return json::encode(std::vector<ProcessReading>{readingNamed(7, "helper")}); }

    ScopedLogCapture logs;
    SamplingExecutor& executor = test::testExecutor();
    ManualTimerQueue timers;
    std::shared_ptr<FakeProcessSource> local = std::make_shared<FakeProcessSource>();
    std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>();
};

TEST_F(HelperProcessSourceTest, DisabledUsesTheLocalSamplerOnly) {
    auto source = makeSource();
    auto f = source->sample();
    auto readings = await(f);
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].name, "local");
    EXPECT_TRUE(transport->made.empty());
}

TEST_F(HelperProcessSourceTest, EnablingWithoutTeamStaysDisabled) {
    auto source = makeSource(std::nullopt);
    source->setEnabled(true);
    EXPECT_FALSE(source->isEnabled());
    auto f = source->sample();
    EXPECT_EQ(await(f)[0].name, "local");
    EXPECT_TRUE(transport->made.empty());
}

TEST_F(HelperProcessSourceTest, EnablingWithMalformedTeamStaysDisabled) {
    auto source = makeSource(std::string("ABCDE-1234"));
    source->setEnabled(true);
    EXPECT_FALSE(source->isEnabled());
    EXPECT_FALSE(source->requirement().has_value());
}

TEST_F(HelperProcessSourceTest, RequirementNamesTheHelper) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    auto request = nextRequest();
    EXPECT_EQ(request.method, HelperProtocol::Method::sample);
    request.reply(helperJSON());
    await(f);
    ASSERT_EQ(transport->requirements.size(), 1u);
    EXPECT_EQ(transport->requirements[0],
              "identifier \"app.orvantine.helper\" and anchor apple generic and certificate leaf[subject.OU] = "
              "\"ABCDE12345\"");
    EXPECT_TRUE(transport->made[0]->resumed);
}

TEST_F(HelperProcessSourceTest, HelperReadingsAreReturnedAsTheyAre) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sampleWithOrigin({1, 2});
    nextRequest().reply(helperJSON());
    auto answer = await(f);
    EXPECT_EQ(answer.origin, HelperProcessSource::Origin::helper);
    ASSERT_EQ(answer.readings.size(), 1u);
    EXPECT_EQ(answer.readings[0], readingNamed(7, "helper"));
    EXPECT_EQ(local->calls(), 0);
}

TEST_F(HelperProcessSourceTest, ConnectionIsReusedForTheNextSample) {
    auto source = makeSource();
    source->setEnabled(true);
    for (int i = 0; i < 3; ++i) {
        auto f = source->sample();
        nextRequest().reply(helperJSON());
        EXPECT_EQ(await(f)[0].name, "helper");
    }
    EXPECT_EQ(transport->made.size(), 1u);
}

TEST_F(HelperProcessSourceTest, NoReplyWithinOneSecondUsesLocalSample) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sampleWithOrigin({4});
    auto request = nextRequest();
    timers.advance(Duration::milliseconds(999));
    EXPECT_EQ(f.wait_for(50ms), std::future_status::timeout);
    timers.advance(Duration::milliseconds(1));
    auto answer = await(f);
    EXPECT_EQ(answer.origin, HelperProcessSource::Origin::local);
    EXPECT_EQ(answer.readings[0].name, "local");
    EXPECT_EQ(local->lastSkip(), (PidSet{4}));
    EXPECT_TRUE(logs.messages().empty());
}

TEST_F(HelperProcessSourceTest, AnswerAfterOnePointTwoSecondsIsDropped) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    auto request = nextRequest();
    timers.advance(Duration::milliseconds(1200));
    EXPECT_EQ(await(f)[0].name, "local");
    // The late answer finds the sample already delivered.
    request.reply(helperJSON());
    EXPECT_EQ(local->calls(), 1);
    // And it does not answer the next sample either.
    auto g = source->sample();
    auto second = nextRequest();
    EXPECT_EQ(g.wait_for(100ms), std::future_status::timeout);
    second.reply(json::encode(std::vector<ProcessReading>{readingNamed(8, "second")}));
    EXPECT_EQ(await(g)[0].name, "second");
}

TEST_F(HelperProcessSourceTest, ErrorThenReplyResumesOnce) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    auto request = nextRequest();
    request.onError("Connection interrupted");
    request.reply(helperJSON());
    timers.advance(Duration::seconds(2));
    EXPECT_EQ(await(f)[0].name, "local");
    EXPECT_EQ(local->calls(), 1);
    EXPECT_EQ(logs.sink().count("Helper unreachable: Connection interrupted"), 1u);
}

TEST_F(HelperProcessSourceTest, ReplyThenErrorResumesOnce) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    auto request = nextRequest();
    request.reply(helperJSON());
    request.onError("Connection invalid");
    EXPECT_EQ(await(f)[0].name, "helper");
    EXPECT_EQ(local->calls(), 0);
}

TEST_F(HelperProcessSourceTest, UnreachableHelperLogsAndUsesLocal) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    nextRequest().onError("Cannot connect to /run/orvantine/helper.sock: No such file or directory");
    EXPECT_EQ(await(f)[0].name, "local");
    auto entries = logs.sink().entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].subsystem, "app.orvantine.sampling");
    EXPECT_EQ(entries[0].category, "helper");
    EXPECT_EQ(entries[0].level, LogLevel::notice);
    EXPECT_EQ(entries[0].message, "Helper unreachable: Cannot connect to /run/orvantine/helper.sock: No such file or directory");
    EXPECT_TRUE(source->isEnabled());
}

TEST_F(HelperProcessSourceTest, NilDataUsesLocalWithoutLog) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    nextRequest().reply(std::nullopt);
    EXPECT_EQ(await(f)[0].name, "local");
    EXPECT_TRUE(logs.messages().empty());
}

TEST_F(HelperProcessSourceTest, UndecodableDataLogsAndUsesLocal) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    nextRequest().reply(std::string("[{\"pid\":1}]"));
    EXPECT_EQ(await(f)[0].name, "local");
    auto entries = logs.sink().entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].level, LogLevel::error);
    EXPECT_EQ(entries[0].message.rfind("Helper sent unreadable data: ", 0), 0u) << entries[0].message;
}

TEST_F(HelperProcessSourceTest, EmptyListIsReturnedAsTheSample) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sampleWithOrigin();
    nextRequest().reply(std::string("[]"));
    auto answer = await(f);
    EXPECT_EQ(answer.origin, HelperProcessSource::Origin::helper);
    EXPECT_TRUE(answer.readings.empty());
    EXPECT_EQ(local->calls(), 0);
}

TEST_F(HelperProcessSourceTest, DisablingWhileConnectedInvalidatesAtOnce) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    nextRequest().reply(helperJSON());
    await(f);
    auto first = transport->made.at(0);
    source->setEnabled(false);
    EXPECT_TRUE(first->invalidated);
    EXPECT_FALSE(source->hasConnection());
    // Enabled again: a new connection, not the old one.
    source->setEnabled(true);
    auto g = source->sample();
    nextRequest().reply(helperJSON());
    await(g);
    ASSERT_EQ(transport->made.size(), 2u);
    EXPECT_NE(transport->made[1], first);
}

TEST_F(HelperProcessSourceTest, InvalidationByThePeerDropsConnectionButStaysEnabled) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    nextRequest().reply(helperJSON());
    await(f);
    transport->made[0]->invalidateFromPeer();
    // The handler hops onto the executor; the next job there sees it done.
    for (int i = 0; i < 100 && source->hasConnection(); ++i) std::this_thread::sleep_for(5ms);
    EXPECT_FALSE(source->hasConnection());
    EXPECT_TRUE(source->isEnabled());
    auto g = source->sample();
    nextRequest().reply(helperJSON());
    EXPECT_EQ(await(g)[0].name, "helper");
    EXPECT_EQ(transport->made.size(), 2u);
}

TEST_F(HelperProcessSourceTest, LateInvalidationOfAnOldConnectionKeepsTheNewOne) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    nextRequest().reply(helperJSON());
    await(f);
    auto old = transport->made[0];
    source->setEnabled(false);
    source->setEnabled(true);
    auto g = source->sample();
    nextRequest().reply(helperJSON());
    await(g);
    old->invalidateFromPeer();  // already invalidated: no second notice
    EXPECT_TRUE(source->hasConnection());
}

TEST_F(HelperProcessSourceTest, FailureDoesNotDisable) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->sample();
    nextRequest().reply(std::nullopt);
    await(f);
    EXPECT_TRUE(source->isEnabled());
    auto g = source->sample();
    nextRequest().reply(helperJSON());
    EXPECT_EQ(await(g)[0].name, "helper");
}

TEST_F(HelperProcessSourceTest, LocalFailureReachesTheCaller) {
    local->setThrows(true);
    auto source = makeSource();
    auto f = source->sample();
    EXPECT_EQ(f.wait_for(5s), std::future_status::ready);
    EXPECT_THROW(f.get(), std::runtime_error);
}

TEST_F(HelperProcessSourceTest, HelperNetworkBytesAreAskedByTheirSelectorAndDecoded) {
    auto source = makeSource();
    source->setEnabled(true);
    auto f = source->helperNetworkBytes();
    auto request = nextRequest();
    EXPECT_EQ(request.method, HelperProtocol::Method::networkBytes);
    request.reply(std::string(R"([7,{"rx":100,"tx":20},9,{"rx":0,"tx":5}])"));
    auto bytes = await(f);
    ASSERT_TRUE(bytes);
    EXPECT_EQ(*bytes, (NetworkBytesByPID{{7, {100, 20}}, {9, {0, 5}}}));
}

TEST_F(HelperProcessSourceTest, NetworkBytesAreAbsentWhenDisabledLateUnreadableOrNotKept) {
    auto source = makeSource();
    auto disabled = source->helperNetworkBytes();
    EXPECT_FALSE(await(disabled));
    EXPECT_TRUE(transport->made.empty());

    source->setEnabled(true);
    auto late = source->helperNetworkBytes();
    auto request = nextRequest();
    timers.advance(Duration::seconds(1));
    EXPECT_FALSE(await(late));

    auto unreadable = source->helperNetworkBytes();
    nextRequest().reply(std::string("[7]"));
    EXPECT_FALSE(await(unreadable));
    EXPECT_EQ(logs.messages().size(), 1u);
    EXPECT_TRUE(logs.messages()[0].starts_with("Helper sent unreadable data: "));

    auto none = source->helperNetworkBytes();
    nextRequest().reply(std::nullopt);  // a helper without accounting
    EXPECT_FALSE(await(none));
}

TEST_F(HelperProcessSourceTest, NetworkBytesFallBackToTheLocalAccountingAndEachSwitchStartsRatesAgain) {
    auto source = makeSource();
    source->setEnabled(true);
    auto localNetwork = std::make_shared<test::FakeProcessNetwork>();
    localNetwork->owner = 1000;
    localNetwork->bytes = NetworkBytesByPID{{1, {5, 5}}};
    HelperNetworkSource network(source, localNetwork);
    const auto first = network.baselineGeneration();

    std::future<std::optional<NetworkBytesByPID>> viaHelper = std::async(std::launch::async, [&] {
        return network.cumulativeBytes().get();
    });
    nextRequest().reply(std::string(R"([7,{"rx":1,"tx":2}])"));
    EXPECT_EQ(await(viaHelper), (NetworkBytesByPID{{7, {1, 2}}}));
    EXPECT_EQ(network.coveredUID(), std::nullopt);  // every user's
    const auto afterHelper = network.baselineGeneration();
    EXPECT_NE(afterHelper, first);

    std::future<std::optional<NetworkBytesByPID>> viaLocal = std::async(std::launch::async, [&] {
        return network.cumulativeBytes().get();
    });
    nextRequest().onError("The helper closed the connection");
    EXPECT_EQ(await(viaLocal), localNetwork->bytes);
    EXPECT_EQ(network.coveredUID(), 1000u);
    EXPECT_NE(network.baselineGeneration(), afterHelper);
}

TEST(ResumeOnce, FirstResumptionWinsAcrossThreads) {
    for (int round = 0; round < 200; ++round) {
        std::atomic<int> calls{0};
        std::optional<std::string> got;
        ResumeOnce once([&](std::optional<std::string> v) {
            ++calls;
            got = std::move(v);
        });
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i) threads.emplace_back([&, i] { once.resume(std::to_string(i)); });
        for (auto& t : threads) t.join();
        EXPECT_EQ(calls, 1);
        EXPECT_TRUE(got.has_value());
    }
}

TEST_F(HelperProcessSourceTest, AnyFailureWhileDecodingLogsAndUsesLocal) {
    auto source = makeSource();
    source->setEnabled(true);
    source->setReadingsDecoder([](const std::string&) -> std::vector<ProcessReading> { throw std::bad_alloc(); });
    auto f = source->sample();
    nextRequest().reply(helperJSON());
    EXPECT_EQ(await(f)[0].name, "local");
    EXPECT_EQ(logs.sink().count("Helper sent unreadable data: std::bad_alloc"), 1u);
    // The executor still runs and the source still answers.
    source->setReadingsDecoder([](const std::string&) -> std::vector<ProcessReading> { throw 42; });
    auto g = source->sample();
    nextRequest().reply(helperJSON());
    EXPECT_EQ(await(g)[0].name, "local");
    EXPECT_EQ(logs.sink().count("Helper sent unreadable data: unknown failure"), 1u);
}

}  // namespace
}  // namespace orv
