#include <gtest/gtest.h>

#include <optional>

#include "core/CapturingLogSink.h"
#include "helper/ListenerDelegate.h"
#include "support/FakeProcessSource.h"
#include "support/TestExecutor.h"
#include "support/ManualTimerQueue.h"

namespace orv {
namespace {

using test::ManualTimerQueue;

// The delegate in virtual time, with exits recorded instead of taken.
class ListenerDelegateTest : public ::testing::Test {
protected:
    void SetUp() override {
        ListenerDelegate::Lifetime lifetime;
        lifetime.exit = [this](int status) { exits.push_back({status, timers.now()}); };
        delegate = std::make_shared<ListenerDelegate>(
            std::make_shared<HelperService>(std::make_shared<test::FakeProcessSource>(), std::nullopt, executor),
            "identifier \"app.orvantine.Orvantine\"", timers, lifetime);
        delegate->armStartupRule();
    }

    void advanceSeconds(double s) { timers.advance(Duration::nanoseconds(int64_t(s * 1e9))); }

    struct Exit {
        int status;
        Duration at;
    };

    ScopedLogCapture logs;
    SamplingExecutor& executor = test::testExecutor();
    ManualTimerQueue timers;
    std::vector<Exit> exits;
    std::shared_ptr<ListenerDelegate> delegate;
};

TEST_F(ListenerDelegateTest, NoClientExitsQuietlyThirtySecondsAfterStart) {
    advanceSeconds(29.999);
    EXPECT_TRUE(exits.empty());
    advanceSeconds(0.001);
    ASSERT_EQ(exits.size(), 1u);
    EXPECT_EQ(exits[0].status, 0);
    EXPECT_EQ(exits[0].at, Duration::seconds(30));
    EXPECT_TRUE(logs.messages().empty());
}

TEST_F(ListenerDelegateTest, ClientConnectedAtStartupDeadlineKeepsItAlive) {
    advanceSeconds(20);
    delegate->connectionAccepted();
    advanceSeconds(60);
    EXPECT_TRUE(exits.empty());
    EXPECT_EQ(delegate->connections(), 1);
}

TEST_F(ListenerDelegateTest, ClientThatLeftBeforeThirtySecondsMeansTheIdleRuleDecides) {
    advanceSeconds(5);
    delegate->connectionAccepted();
    advanceSeconds(1);
    delegate->connectionEnded();
    // The start-up rule fires at 30 s, sees generation 2, and does nothing;
    // the idle rule fired earlier at 16 s.
    advanceSeconds(9.999);
    EXPECT_TRUE(exits.empty());
    advanceSeconds(0.001);
    ASSERT_EQ(exits.size(), 1u);
    EXPECT_EQ(exits[0].at, Duration::seconds(16));
}

TEST_F(ListenerDelegateTest, LastClientGoneExitsTenSecondsLaterWithTheLogLine) {
    delegate->connectionAccepted();
    advanceSeconds(40);
    delegate->connectionEnded();
    advanceSeconds(9.9);
    EXPECT_TRUE(exits.empty());
    advanceSeconds(0.1);
    ASSERT_EQ(exits.size(), 1u);
    EXPECT_EQ(exits[0].status, 0);
    EXPECT_EQ(exits[0].at, Duration::seconds(50));
    auto entries = logs.sink().entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].subsystem, "app.orvantine.helper");
    EXPECT_EQ(entries[0].category, "helper");
    EXPECT_EQ(entries[0].level, LogLevel::info);
    EXPECT_EQ(entries[0].message, "Orvantine has been gone 10 s; exiting");
}

TEST_F(ListenerDelegateTest, NewClientFiveSecondsAfterDisconnectVoidsTheTimer) {
    delegate->connectionAccepted();
    advanceSeconds(31);
    delegate->connectionEnded();
    advanceSeconds(5);
    delegate->connectionAccepted();
    advanceSeconds(5);  // the first timer fires here and finds a client
    EXPECT_TRUE(exits.empty());
    advanceSeconds(600);
    EXPECT_TRUE(exits.empty());
    EXPECT_EQ(delegate->connections(), 1);
    EXPECT_TRUE(logs.messages().empty());
}

TEST_F(ListenerDelegateTest, OneOfTwoClientsLeavingArmsNoTimer) {
    delegate->connectionAccepted();
    delegate->connectionAccepted();
    advanceSeconds(31);
    ASSERT_EQ(timers.pendingCount(), 0u);
    delegate->connectionEnded();
    EXPECT_EQ(timers.pendingCount(), 0u);
    delegate->connectionEnded();
    EXPECT_EQ(timers.pendingCount(), 1u);
    advanceSeconds(10);
    ASSERT_EQ(exits.size(), 1u);
}

TEST_F(ListenerDelegateTest, DisconnectReconnectDisconnectLetsOnlyTheSecondTimerDecide) {
    delegate->connectionAccepted();
    advanceSeconds(31);
    delegate->connectionEnded();  // timer A, at 41 s
    advanceSeconds(3);
    delegate->connectionAccepted();
    advanceSeconds(3);
    delegate->connectionEnded();  // timer B, at 47 s
    EXPECT_EQ(timers.pendingCount(), 2u);
    advanceSeconds(4);  // A fires at 41 s: stale generation
    EXPECT_TRUE(exits.empty());
    EXPECT_EQ(timers.pendingCount(), 1u);
    advanceSeconds(6);  // B fires at 47 s
    ASSERT_EQ(exits.size(), 1u);
    EXPECT_EQ(exits[0].at, Duration::seconds(47));
    EXPECT_EQ(logs.sink().count("Orvantine has been gone 10 s; exiting"), 1u);
}

TEST_F(ListenerDelegateTest, GenerationCountsEveryConnectAndDisconnect) {
    EXPECT_EQ(delegate->generation(), 0);
    delegate->connectionAccepted();
    delegate->connectionAccepted();
    delegate->connectionEnded();
    EXPECT_EQ(delegate->connections(), 1);
    EXPECT_EQ(delegate->generation(), 3);
}

TEST_F(ListenerDelegateTest, TimerOutlivingTheDelegateDoesNothing) {
    delegate->connectionAccepted();
    delegate->connectionEnded();
    delegate.reset();
    advanceSeconds(60);
    EXPECT_TRUE(exits.empty());
}

TEST(ListenerDelegateLimits, RunTimeLimitsReplaceTheDefaults) {
    ManualTimerQueue timers;
    SamplingExecutor& executor = test::testExecutor();
    std::vector<int> exits;
    ListenerDelegate::Lifetime lifetime;
    lifetime.startupLimit = Duration::seconds(2);
    lifetime.idleLimit = Duration::seconds(1);
    lifetime.exit = [&](int status) { exits.push_back(status); };
    auto delegate = std::make_shared<ListenerDelegate>(
        std::make_shared<HelperService>(std::make_shared<test::FakeProcessSource>(), std::nullopt, executor), "r",
        timers, lifetime);
    delegate->armStartupRule();
    timers.advance(Duration::seconds(2));
    EXPECT_EQ(exits, std::vector<int>{0});
}

TEST(ListenerDelegateDefaults, LimitsAreThirtyAndTenSeconds) {
    ListenerDelegate::Lifetime lifetime;
    EXPECT_EQ(lifetime.startupLimit, Duration::seconds(30));
    EXPECT_EQ(lifetime.idleLimit, Duration::seconds(10));
}

}  // namespace
}  // namespace orv
