#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <queue>
#include <thread>
#include <vector>

#include "core/ContinuousClock.h"
#include "core/Duration.h"

namespace orv {

// Where delayed work runs: the helper's exit rules and the client's
// one-second limit. An interface so that tests drive them in virtual time.
// Work already scheduled cannot be cancelled; what it acts on decides
// whether it is still current (a generation, a once-only resumption).
class TimerQueue {
public:
    using Work = std::function<void()>;
    virtual ~TimerQueue() = default;

    // Runs `work` once, on the queue's own thread, `delay` from now.
    virtual void schedule(Duration delay, Work work) = 0;

    // The process-wide queue; never destroyed.
    static TimerQueue& shared();
};

// The real queue: one thread that sleeps until the earliest deadline,
// measured on the continuous clock so that time asleep counts.
class ThreadTimerQueue : public TimerQueue {
public:
    ThreadTimerQueue();
    ~ThreadTimerQueue() override;
    ThreadTimerQueue(const ThreadTimerQueue&) = delete;
    ThreadTimerQueue& operator=(const ThreadTimerQueue&) = delete;

    void schedule(Duration delay, Work work) override;

private:
    struct Entry {
        ContinuousClock::Instant deadline;
        uint64_t order;  // equal deadlines run in the order scheduled
        Work work;
    };
    struct Later {
        bool operator()(const Entry& a, const Entry& b) const {
            return a.deadline != b.deadline ? a.deadline > b.deadline : a.order > b.order;
        }
    };

    void runLoop();

    std::mutex mutex_;
    std::condition_variable condition_;
    std::priority_queue<Entry, std::vector<Entry>, Later> entries_;
    uint64_t nextOrder_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace orv
