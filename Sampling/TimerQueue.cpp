#include "Sampling/TimerQueue.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <string>

#include "core/Logger.h"

namespace orv {

TimerQueue& TimerQueue::shared() {
    // Leaked on purpose: exit rules may fire while static destructors run.
    static auto* queue = new ThreadTimerQueue();
    return *queue;
}

ThreadTimerQueue::ThreadTimerQueue() : thread_([this] { runLoop(); }) {}

ThreadTimerQueue::~ThreadTimerQueue() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    condition_.notify_all();
    thread_.join();
}

void ThreadTimerQueue::schedule(Duration delay, Work work) {
    {
        std::lock_guard lock(mutex_);
        entries_.push(Entry{ContinuousClock::now() + delay, nextOrder_++, std::move(work)});
    }
    condition_.notify_all();
}

void ThreadTimerQueue::runLoop() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (entries_.empty()) {
            condition_.wait(lock);
            continue;
        }
        const auto remaining = entries_.top().deadline - ContinuousClock::now();
        if (remaining > Duration::zero()) {
            // The condition variable's clock stops while the machine sleeps;
            // waking at least once a second re-reads the continuous clock so
            // that a deadline passed during sleep is not overslept.
            const auto ns = std::min<int64_t>(remaining.toNanoseconds(), 1'000'000'000);
            condition_.wait_for(lock, std::chrono::nanoseconds(std::max<int64_t>(ns, 1)));
            continue;
        }
        // priority_queue::top is const; the entry is popped right after.
        Work work = std::move(const_cast<Entry&>(entries_.top()).work);
        entries_.pop();
        lock.unlock();
        // A throwing timer must not end the process, nor the timers after it.
        try {
            work();
        } catch (const std::exception& e) {
            Logger("app.orvantine.sampling", "timers").error(std::string("A timer failed: ") + e.what());
        } catch (...) {
            Logger("app.orvantine.sampling", "timers").error("A timer failed: unknown failure");
        }
        lock.lock();
    }
}

}  // namespace orv
