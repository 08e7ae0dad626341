#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "PrivateAPIs/SerialQueue.h"

namespace orv {
namespace {

using namespace std::chrono_literals;

// Waits until everything handed to `queue` so far has run.
void drain(SerialQueue& queue) {
    std::promise<void> done;
    queue.async([&] { done.set_value(); });
    done.get_future().wait();
}

TEST(SerialQueue, RunsWorkInOrderOffTheCallersThread) {
    SerialQueue queue("test.order");
    std::vector<int> order;
    bool onQueue = true;
    for (int i = 0; i < 100; ++i) queue.async([&, i] {
        order.push_back(i);
        onQueue = onQueue && queue.isCurrent();
    });
    drain(queue);
    ASSERT_EQ(order.size(), 100u);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(order[size_t(i)], i);
    EXPECT_TRUE(onQueue);
    EXPECT_FALSE(queue.isCurrent());
    EXPECT_EQ(queue.label(), "test.order");
}

TEST(SerialQueue, ATimerFiresAfterItsDelayUnlessCancelled) {
    SerialQueue queue("test.timer");
    std::promise<std::chrono::steady_clock::time_point> fired;
    bool cancelledRan = false;
    const auto armed = std::chrono::steady_clock::now();
    auto cancelled = queue.after(20ms, [&] { cancelledRan = true; });
    queue.after(30ms, [&] { fired.set_value(std::chrono::steady_clock::now()); });
    cancelled->cancel();
    EXPECT_GE(fired.get_future().get() - armed, 30ms);
    drain(queue);
    EXPECT_FALSE(cancelledRan);
}

TEST(SerialQueue, WorkThatThrowsDoesNotStopTheQueue) {
    SerialQueue queue("test.throw");
    queue.async([] { throw std::runtime_error("lost"); });
    bool ran = false;
    queue.async([&] { ran = true; });
    drain(queue);
    EXPECT_TRUE(ran);
}

TEST(SerialQueue, AQueueReleasedByItsOwnWorkFinishesThatWork) {
    auto queue = std::make_shared<SerialQueue>("test.release");
    std::promise<void> finished;
    auto* raw = queue.get();
    std::shared_ptr<SerialQueue>* owner = new std::shared_ptr<SerialQueue>(std::move(queue));
    raw->async([owner, &finished] {
        delete owner;  // the last owner goes while this work runs on the queue
        finished.set_value();
    });
    EXPECT_EQ(finished.get_future().wait_for(5s), std::future_status::ready);
}

}  // namespace
}  // namespace orv
