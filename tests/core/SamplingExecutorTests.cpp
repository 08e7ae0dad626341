#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "core/CapturingLogSink.h"
#include "core/SamplingCadence.h"
#include "core/SamplingExecutor.h"
#include "core/JsonCoding.h"

namespace orv {
namespace {

// The executor under test lives as long as the process, as executors must.
SamplingExecutor& executor() {
    static auto* e = new SamplingExecutor();
    return *e;
}

TEST(SamplingExecutor, JobsFromManyThreadsEachRunOnceOnTheSamplingThread) {
    constexpr int threads = 8, perThread = 500;
    std::vector<std::atomic<int>> runs(threads * perThread);
    std::atomic<int> offThread{0};
    std::thread::id samplingThread = executor().run([] { return std::this_thread::get_id(); }).get();
    std::vector<std::thread> producers;
    for (int t = 0; t < threads; ++t) {
        producers.emplace_back([&, t] {
            for (int i = 0; i < perThread; ++i) {
                executor().enqueue([&, index = t * perThread + i] {
                    if (std::this_thread::get_id() != samplingThread) ++offThread;
                    ++runs[index];
                });
            }
        });
    }
    for (auto& p : producers) p.join();
    executor().run([] {}).get();  // FIFO: everything before it has run
    for (auto& r : runs) EXPECT_EQ(r.load(), 1);
    EXPECT_EQ(offThread.load(), 0);
}

TEST(SamplingExecutor, JobsFromOneThreadRunInSubmissionOrder) {
    std::vector<int> order;
    for (int i = 0; i < 100; ++i) executor().enqueue([&order, i] { order.push_back(i); });
    executor().run([] {}).get();
    ASSERT_EQ(order.size(), 100u);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(order[i], i);
}

TEST(SamplingExecutor, AJobEnqueuedByAJobRunsAfterItNeverInside) {
    std::vector<std::string> events;
    std::promise<void> done;
    executor().enqueue([&] {
        events.push_back("outer begins");
        executor().enqueue([&] {
            events.push_back("inner");
            done.set_value();
        });
        events.push_back("outer ends");
    });
    done.get_future().get();
    EXPECT_EQ(events, (std::vector<std::string>{"outer begins", "outer ends", "inner"}));
}

TEST(SamplingExecutor, RunHandsBackTheResultAndTheException) {
    EXPECT_EQ(executor().run([] { return 42; }).get(), 42);
    auto failing = executor().run([]() -> int { throw std::runtime_error("kernel said no"); });
    EXPECT_THROW(failing.get(), std::runtime_error);
}

TEST(SamplingExecutor, RunFromTheExecutorItselfRunsInlineWithoutDeadlock) {
    auto nested = executor().run([] {
        EXPECT_TRUE(executor().isCurrent());
        return executor().run([] { return 7; }).get();
    });
    EXPECT_EQ(nested.get(), 7);
    EXPECT_FALSE(executor().isCurrent());
}

TEST(SamplingExecutor, SubmitCallsTheCompletionWithTheResultOnTheExecutor) {
    std::promise<std::pair<int, bool>> result;
    executor().submit([] { return 5; }, [&](int value) { result.set_value({value, executor().isCurrent()}); });
    auto [value, onExecutor] = result.get_future().get();
    EXPECT_EQ(value, 5);
    EXPECT_TRUE(onExecutor);
}

TEST(SamplingExecutor, AThrowingJobIsLoggedAndTheNextJobsStillRun) {
    ScopedLogCapture logs;
    executor().enqueue([] { throw std::runtime_error("table unreadable"); });
    executor().enqueue([] { throw 7; });
    EXPECT_EQ(executor().run([] { return 3; }).get(), 3);
    EXPECT_EQ(logs.sink().count("A sampling job failed: table unreadable"), 1u);
    EXPECT_EQ(logs.sink().count("A sampling job failed: unknown failure"), 1u);
}

TEST(SamplingExecutor, AJobThatThrowsReachesWhoWaitsOnIt) {
    auto failing = executor().run([]() -> int { throw std::runtime_error("gone"); });
    EXPECT_THROW(failing.get(), std::runtime_error);
    EXPECT_EQ(executor().run([] { return 4; }).get(), 4);
}

TEST(SamplingExecutor, SharedIsOneInstance) { EXPECT_EQ(&SamplingExecutor::shared(), &SamplingExecutor::shared()); }

TEST(SamplingCadence, IsEncodedByCaseName) {
    EXPECT_EQ(json::encode(SamplingCadence::visible), "\"visible\"");
    EXPECT_EQ(json::decode<SamplingCadence>("\"idle\""), SamplingCadence::idle);
    EXPECT_NE(SamplingCadence::idle, SamplingCadence::visible);
}

}  // namespace
}  // namespace orv
