#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace orv {

// Work run one item at a time, in order, off the caller's thread: a serial
// dispatch queue of utility quality of service on macOS, a thread of its
// own elsewhere. Callbacks of run-time-loaded frameworks are delivered on
// one, so the state they touch needs no more than a short lock.
class SerialQueue {
public:
    // A one-shot timer armed on the queue; cancelling it before it fires
    // keeps its work from running.
    class Timer {
    public:
        virtual ~Timer() = default;
        virtual void cancel() = 0;
    };

    explicit SerialQueue(std::string label);
    // Work that has not started may not run: callbacks must hold what they
    // need themselves. Work running on another thread is finished first.
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    void async(std::function<void()> work);
    // Runs `work` on the queue once `delay` has passed, unless cancelled.
    std::shared_ptr<Timer> after(std::chrono::nanoseconds delay, std::function<void()> work);
    // Whether the calling thread is running this queue's work.
    bool isCurrent() const;

    const std::string& label() const { return label_; }
    // The platform's queue (a dispatch_queue_t on macOS), for a framework
    // that takes one; null elsewhere.
    void* nativeHandle() const;

    struct Impl;

private:
    std::string label_;
    std::shared_ptr<Impl> impl_;
};

}  // namespace orv
