#pragma once

#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "Sampling/TimerQueue.h"

namespace orv::test {

// A timer queue in virtual time: nothing runs until the test advances the
// clock, and then everything due runs, in deadline order, on the test's
// thread (work scheduled while advancing runs too, if it falls due).
class ManualTimerQueue : public TimerQueue {
public:
    void schedule(Duration delay, Work work) override {
        std::lock_guard lock(mutex_);
        pending_.emplace(std::make_pair(now_ + delay, order_++), std::move(work));
    }

    void advance(Duration by) {
        Duration target;
        {
            std::lock_guard lock(mutex_);
            target = now_ + by;
        }
        for (;;) {
            Work work;
            {
                std::lock_guard lock(mutex_);
                auto first = pending_.begin();
                if (first == pending_.end() || first->first.first > target) {
                    now_ = target;
                    return;
                }
                now_ = first->first.first;
                work = std::move(first->second);
                pending_.erase(first);
            }
            work();
        }
    }

    size_t pendingCount() const {
        std::lock_guard lock(mutex_);
        return pending_.size();
    }

    Duration now() const {
        std::lock_guard lock(mutex_);
        return now_;
    }

private:
    mutable std::mutex mutex_;
    Duration now_;
    uint64_t order_ = 0;
    std::map<std::pair<Duration, uint64_t>, Work> pending_;
};

}  // namespace orv::test
