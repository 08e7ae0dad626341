#include <gtest/gtest.h>

#include <cerrno>
#include <future>
#include <thread>

#include "PrivateAPIs/FakeNetworkStatistics.h"
#include "PrivateAPIs/NetworkStatisticsMonitor.h"
#include "core/CapturingLogSink.h"

namespace orv {
namespace {

using Fake = test::FakeNetworkStatistics;
using Monitor = NetworkStatisticsMonitor;

// Exit checks by pid: absent pids are gone (ESRCH).
struct Processes {
    std::map<int32_t, int> answers;
    std::function<int(int32_t)> check() {
        return [this](int32_t pid) {
            auto found = answers.find(pid);
            return found == answers.end() ? ESRCH : found->second;
        };
    }
};

class NetworkStatisticsMonitorTest : public ::testing::Test {
protected:
    std::unique_ptr<Monitor> make() { return std::make_unique<Monitor>(fake->functions(), processes.check()); }

    // The totals of one query that waits for its answer.
    static std::optional<NetworkBytesByPID> query(Monitor& monitor) {
        std::promise<std::optional<NetworkBytesByPID>> answer;
        monitor.cumulativeBytes([&](std::optional<NetworkBytesByPID> totals) { answer.set_value(std::move(totals)); });
        return answer.get_future().get();
    }

    std::shared_ptr<Fake> fake = std::make_shared<Fake>();
    Processes processes;
};

TEST(NetworkStatisticsResolution, WithoutTheFrameworkNothingIsLookedUpAndOneLineSaysSo) {
    ScopedLogCapture capture;
    std::vector<std::string> asked;
    Monitor::SymbolLookup lookup{[](const char*) -> void* { return nullptr; },
                                 [&](void*, const char* name) -> void* {
                                     asked.push_back(name);
                                     return nullptr;
                                 }};
    EXPECT_FALSE(Monitor::resolveSymbols(lookup));
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(capture.sink().count("NetworkStatistics.framework unavailable; per-app network rates off"), 1u);
    ASSERT_EQ(capture.sink().entries().size(), 1u);
    EXPECT_EQ(capture.sink().entries()[0].subsystem, "app.orvantine.privateapis");
    EXPECT_EQ(capture.sink().entries()[0].category, "nstat");
}

TEST(NetworkStatisticsResolution, SymbolsAreLookedUpInOrderUntilTheFirstMissingOne) {
    ScopedLogCapture capture;
    static int handle;
    std::vector<std::string> asked;
    Monitor::SymbolLookup lookup{[](const char* path) -> void* {
                                     EXPECT_STREQ(path, Monitor::frameworkPath);
                                     return &handle;
                                 },
                                 [&](void*, const char* name) -> void* {
                                     asked.push_back(name);
                                     return asked.size() < 4 ? &handle : nullptr;
                                 }};
    EXPECT_FALSE(Monitor::resolveSymbols(lookup));
    EXPECT_EQ(asked, (std::vector<std::string>{"NStatManagerCreate", "NStatManagerDestroy", "NStatManagerAddAllTCP",
                                               "NStatManagerAddAllUDP"}));
    EXPECT_EQ(capture.messages(), std::vector<std::string>{"NetworkStatistics symbols missing; per-app network rates off"});
}

TEST(NetworkStatisticsResolution, AllFourteenSymbolsResolve) {
    static int handle;
    std::vector<std::string> asked;
    Monitor::SymbolLookup lookup{[](const char*) -> void* { return &handle; },
                                 [&](void*, const char* name) -> void* {
                                     asked.push_back(name);
                                     return &handle;
                                 }};
    auto symbols = Monitor::resolveSymbols(lookup);
    ASSERT_TRUE(symbols);
    EXPECT_EQ(asked.size(), 14u);
    EXPECT_EQ(asked.back(), "kNStatSrcKeyInterfaceTypeLoopback");
}

TEST(NetworkStatisticsResolution, OnThisSystemTheFrameworkIsMissing) {
#if defined(__APPLE__)
    GTEST_SKIP() << "the framework exists on macOS";
#else
    Monitor monitor;
    EXPECT_FALSE(monitor.isAvailable());
    EXPECT_FALSE(monitor.cumulativeBytesBlocking());
#endif
}

TEST_F(NetworkStatisticsMonitorTest, AnUnavailableMonitorAnswersAbsentWithoutCallingAnything) {
    Monitor monitor(std::nullopt);
    EXPECT_FALSE(monitor.isAvailable());
    bool called = false;
    monitor.cumulativeBytes([&](std::optional<NetworkBytesByPID> totals) {
        called = true;
        EXPECT_FALSE(totals);
    });
    EXPECT_TRUE(called);  // at once, on the caller's thread
    EXPECT_FALSE(monitor.cumulativeBytesBlocking());
}

TEST_F(NetworkStatisticsMonitorTest, AManagerThatIsNotCreatedLeavesTheMonitorUnavailable) {
    ScopedLogCapture capture;
    fake->createFails = true;
    auto monitor = make();
    EXPECT_FALSE(monitor->isAvailable());
    EXPECT_FALSE(monitor->cumulativeBytesBlocking());
    EXPECT_EQ(fake->callsSoFar(), std::vector<std::string>{"create"});
    EXPECT_EQ(capture.messages(), std::vector<std::string>{"NStatManagerCreate returned nil; per-app network rates off"});
    monitor.reset();
    EXPECT_EQ(fake->callsSoFar(), std::vector<std::string>{"create"});  // nothing to destroy
}

TEST_F(NetworkStatisticsMonitorTest, ConstructionSubscribesToTcpThenUdpAndReleaseDestroysTheManager) {
    auto monitor = make();
    EXPECT_TRUE(monitor->isAvailable());
    EXPECT_EQ(fake->callsSoFar(), (std::vector<std::string>{"create", "addAllTCP", "addAllUDP"}));
    monitor.reset();
    EXPECT_EQ(fake->callsSoFar().back(), "destroy");
}

TEST_F(NetworkStatisticsMonitorTest, CountsBeforeTheDescriptionCountOnlyOnceItNamesThePid) {
    auto monitor = make();
    fake->report(1);
    fake->counts(1, Fake::bytes(500, 70));
    fake->drain();
    EXPECT_EQ(monitor->ledger().sources.at(1).pid, 0);
    EXPECT_TRUE(query(*monitor)->empty());
    fake->counts(1, Fake::bytes(900, 80));
    fake->describe(1, Fake::description(42, 4200));
    fake->drain();
    auto totals = query(*monitor);
    ASSERT_TRUE(totals);
    EXPECT_EQ(totals->at(42), (NetworkByteCounts{900, 80}));
}

TEST_F(NetworkStatisticsMonitorTest, ASmallerCountLeavesTheStoredOne) {
    auto monitor = make();
    fake->report(1);
    fake->describe(1, Fake::description(42, 4200));
    fake->counts(1, Fake::bytes(900, 80));
    fake->counts(1, Fake::bytes(100, 90));
    fake->drain();
    EXPECT_EQ(query(*monitor)->at(42), (NetworkByteCounts{900, 90}));
}

TEST_F(NetworkStatisticsMonitorTest, ANullDictionaryAndAZeroPidChangeNothing) {
    auto monitor = make();
    fake->report(1);
    fake->describe(1, Fake::description(42, 4200));
    fake->nullCounts(1);
    fake->describe(1, Fake::description(0, 4200));
    fake->drain();
    EXPECT_EQ(monitor->ledger().sources.at(1).pid, 42);
}

TEST_F(NetworkStatisticsMonitorTest, LoopbackSourcesAreLeftOutAndLeaveNothingWhenRemoved) {
    processes.answers[42] = 0;
    auto monitor = make();
    fake->report(1);
    fake->describe(1, Fake::description(42, 4200, true));
    fake->counts(1, Fake::bytes(1000, 1000));
    fake->report(2);
    fake->describe(2, Fake::description(42, 4200));  // no bytes
    fake->drain();
    // The loopback bytes count for nothing; the empty source counts zero.
    EXPECT_EQ(*query(*monitor), (NetworkBytesByPID{{42, {0, 0}}}));
    fake->remove(1);
    fake->remove(2);
    fake->drain();
    EXPECT_TRUE(monitor->ledger().closed.empty());
    EXPECT_TRUE(query(*monitor)->empty());
}

TEST_F(NetworkStatisticsMonitorTest, TwoClosedSourcesOfOneProcessAddUpAndANewProcessWithThePidReplacesThem) {
    processes.answers[42] = 0;
    auto monitor = make();
    for (Monitor::SourceRef s : {1, 2}) {
        fake->report(s);
        fake->describe(s, Fake::description(42, 4200));
        fake->counts(s, Fake::bytes(100 * s, 10 * s));
    }
    fake->remove(1);
    fake->remove(2);
    fake->drain();
    EXPECT_EQ(monitor->ledger().closed.at(42), (NetworkStatisticsLedger::Closed{4200, 300, 30}));
    EXPECT_EQ(query(*monitor)->at(42), (NetworkByteCounts{300, 30}));

    // A description without a unique id cannot tell processes apart:
    // nothing is dropped.
    fake->report(3);
    fake->describe(3, Fake::description(42, 0));
    fake->drain();
    EXPECT_TRUE(monitor->ledger().closed.contains(42));

    // A removed source of another process that had pid 42 replaces the entry.
    fake->report(4);
    fake->counts(4, Fake::bytes(5, 6));
    fake->describe(4, {{&Fake::pidKey, 42}});  // its unique id arrives only with its removal's data
    fake->drain();
    NetworkStatisticsLedger ledger = monitor->ledger();
    ledger.sources[4].uniquePID = 9999;
    ledger.remove(4);
    EXPECT_EQ(ledger.closed.at(42), (NetworkStatisticsLedger::Closed{9999, 5, 6}));
}

TEST_F(NetworkStatisticsMonitorTest, ADescriptionShowingAReusedPidDropsTheOldClosedBytesAtOnce) {
    processes.answers[42] = 0;
    auto monitor = make();
    fake->report(1);
    fake->describe(1, Fake::description(42, 4200));
    fake->counts(1, Fake::bytes(100, 10));
    fake->remove(1);
    fake->report(2);
    fake->describe(2, Fake::description(42, 5300));
    fake->drain();
    EXPECT_FALSE(monitor->ledger().closed.contains(42));
    EXPECT_TRUE(query(*monitor)->at(42) == (NetworkByteCounts{0, 0}));
}

TEST_F(NetworkStatisticsMonitorTest, PruningDropsExitedProcessesAndKeepsLiveOnesAndOtherErrors) {
    auto monitor = make();
    processes.answers = {{1, 0}, {2, 0}, {3, 0}};
    for (Monitor::SourceRef s : {1, 2, 3}) {
        fake->report(s);
        fake->describe(s, Fake::description(int32_t(s), 100 + s));
        fake->counts(s, Fake::bytes(10, 10));
        fake->remove(s);
    }
    fake->report(4);  // a live source keeps pid 3's entry from being checked
    fake->describe(4, Fake::description(3, 103));
    fake->drain();
    processes.answers = {{2, EPERM}};  // 1 and 3 exited; 2 belongs to another user
    auto totals = query(*monitor);
    EXPECT_FALSE(totals->contains(1));
    EXPECT_TRUE(totals->contains(2));
    EXPECT_TRUE(totals->contains(3));
    EXPECT_EQ(monitor->ledger().closed.size(), 2u);
}

TEST_F(NetworkStatisticsMonitorTest, TheUpdateQueryIsUsedUntilEverySourceIsDescribed) {
    auto monitor = make();
    query(*monitor);  // no sources yet
    fake->report(1);
    fake->counts(1, Fake::bytes(1, 1));
    fake->drain();
    query(*monitor);  // one undescribed
    fake->describe(1, Fake::description(42, 1));
    fake->drain();
    query(*monitor);
    auto calls = fake->callsSoFar();
    EXPECT_EQ(std::vector<std::string>(calls.end() - 3, calls.end()),
              (std::vector<std::string>{"queryUpdate", "queryUpdate", "queryCounts"}));
}

TEST_F(NetworkStatisticsMonitorTest, AnAnswerAfter250msComesTooLateForTheCaller) {
    processes.answers[42] = 0;
    auto monitor = make();
    fake->report(1);
    fake->describe(1, Fake::description(42, 4200));
    fake->counts(1, Fake::bytes(100, 10));
    fake->drain();
    fake->answer = Fake::Answer::late;
    std::atomic<int> completions = 0;
    std::promise<std::optional<NetworkBytesByPID>> answer;
    const auto started = std::chrono::steady_clock::now();
    monitor->cumulativeBytes([&](std::optional<NetworkBytesByPID> totals) {
        if (++completions == 1) answer.set_value(std::move(totals));
    });
    auto totals = answer.get_future().get();
    EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(250));
    EXPECT_EQ(totals->at(42), (NetworkByteCounts{100, 10}));  // the counts as they stood
    // The late answer and its counts arrive: the ledger takes them, the
    // caller hears nothing more.
    fake->counts(1, Fake::bytes(500, 50));
    fake->completeHeld();
    fake->drain();
    EXPECT_EQ(completions.load(), 1);
    EXPECT_EQ(monitor->ledger().sources.at(1).rx, 500u);
}

TEST_F(NetworkStatisticsMonitorTest, AnAnswerInTimeWakesTheCallerBeforeTheTimer) {
    auto monitor = make();
    const auto started = std::chrono::steady_clock::now();
    EXPECT_TRUE(query(*monitor));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(250));
}

TEST_F(NetworkStatisticsMonitorTest, ABlockingQueryThatTimesOutSaysSoAndUsesTheLastCounts) {
    ScopedLogCapture capture;
    processes.answers[42] = 0;
    auto monitor = make();
    fake->report(1);
    fake->describe(1, Fake::description(42, 4200));
    fake->counts(1, Fake::bytes(100, 10));
    fake->drain();
    fake->answer = Fake::Answer::never;
    auto totals = monitor->cumulativeBytesBlocking();
    ASSERT_TRUE(totals);
    EXPECT_EQ(totals->at(42), (NetworkByteCounts{100, 10}));
    EXPECT_EQ(capture.sink().count("NetworkStatistics query timed out; using the last counts"), 1u);
    fake->answer = Fake::Answer::atOnce;
    capture.sink().clear();
    EXPECT_TRUE(monitor->cumulativeBytesBlocking());
    EXPECT_EQ(capture.sink().count("NetworkStatistics query timed out; using the last counts"), 0u);
}

TEST_F(NetworkStatisticsMonitorTest, CallbacksAfterTheMonitorIsGoneStillHaveTheirStorage) {
    auto functions = fake->functions();
    std::function<void(Monitor::Dictionary)> counts;
    functions.setCountsBlock = [&](Monitor::SourceRef, std::function<void(Monitor::Dictionary)> block) {
        counts = std::move(block);
    };
    auto monitor = std::make_unique<Monitor>(functions, processes.check());
    fake->report(1);
    fake->drain();
    monitor.reset();
    Fake::Values values = Fake::bytes(1, 1);
    counts(&values);  // must not touch freed memory
}

}  // namespace
}  // namespace orv
