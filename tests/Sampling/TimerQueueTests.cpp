#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "Sampling/TimerQueue.h"
#include "core/CapturingLogSink.h"
#include "support/ManualTimerQueue.h"

namespace orv {
namespace {

using namespace std::chrono_literals;

TEST(ThreadTimerQueue, RunsWorkInDeadlineOrderAfterItsDelay) {
    ThreadTimerQueue queue;
    std::mutex mutex;
    std::vector<int> order;
    std::promise<void> done;
    const auto start = ContinuousClock::now();
    ContinuousClock::Instant lastRan;
    queue.schedule(Duration::milliseconds(120), [&] {
        std::lock_guard lock(mutex);
        order.push_back(2);
        lastRan = ContinuousClock::now();
        done.set_value();
    });
    queue.schedule(Duration::milliseconds(40), [&] {
        std::lock_guard lock(mutex);
        order.push_back(1);
    });
    ASSERT_EQ(done.get_future().wait_for(5s), std::future_status::ready);
    std::lock_guard lock(mutex);
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_GE((lastRan - start).toNanoseconds(), 120'000'000);
}

TEST(ThreadTimerQueue, WorkMayScheduleMoreWork) {
    ThreadTimerQueue queue;
    std::promise<void> done;
    queue.schedule(Duration::milliseconds(5), [&] { queue.schedule(Duration::milliseconds(5), [&] { done.set_value(); }); });
    EXPECT_EQ(done.get_future().wait_for(5s), std::future_status::ready);
}

TEST(ThreadTimerQueue, AThrowingTimerIsLoggedAndTheLaterOnesStillRun) {
    ScopedLogCapture logs;
    ThreadTimerQueue queue;
    std::promise<void> later;
    queue.schedule(Duration::milliseconds(1), [] { throw std::runtime_error("boom"); });
    queue.schedule(Duration::milliseconds(5), [&] { later.set_value(); });
    EXPECT_EQ(later.get_future().wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(logs.sink().count("A timer failed: boom"), 1u);
}

TEST(ManualTimerQueue, RunsOnlyWhatFallsDue) {
    test::ManualTimerQueue queue;
    int ran = 0;
    queue.schedule(Duration::seconds(10), [&] { ++ran; });
    queue.advance(Duration::milliseconds(9999));
    EXPECT_EQ(ran, 0);
    queue.advance(Duration::milliseconds(1));
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(queue.pendingCount(), 0u);
}

}  // namespace
}  // namespace orv
