#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <type_traits>
#include <vector>

namespace orv {

// One thread, "app.orvantine.sampling", that runs sampling jobs one at a
// time in the order they were submitted. Objects confined to it (the
// samplers) are reached from other threads only through `run`/`submit`.
//
// The thread is never stopped: the executor lives as long as the process
// (use `shared()`). A test may create its own and must keep it alive.
class SamplingExecutor {
public:
    using Job = std::function<void()>;

    static constexpr const char* threadName = "app.orvantine.sampling";

    SamplingExecutor();
    SamplingExecutor(const SamplingExecutor&) = delete;
    SamplingExecutor& operator=(const SamplingExecutor&) = delete;
    ~SamplingExecutor();

    // The process-wide executor all sampling work shares.
    static SamplingExecutor& shared();

    // Queues `job`; never runs it inline, never blocks beyond the lock. A
    // job that throws is logged and the thread goes on to the next.
    void enqueue(Job job);

    // True on this executor's thread.
    bool isCurrent() const { return std::this_thread::get_id() == threadID_; }

    // Runs `work` on the executor and hands its result (or exception) to
    // the future. Called on the executor itself it runs at once, as a call
    // into an actor from its own executor does, so confined code can call
    // confined code without deadlock.
    template <class F>
    auto run(F work) -> std::future<std::invoke_result_t<F>> {
        using R = std::invoke_result_t<F>;
        if (isCurrent()) {
            std::promise<R> promise;
            fulfil(promise, work);
            return promise.get_future();
        }
        auto promise = std::make_shared<std::promise<R>>();
        auto future = promise->get_future();
        enqueue([promise, work = std::move(work)]() mutable { fulfil(*promise, work); });
        return future;
    }

    // Runs `work` on the executor, then `completion` with its result, on the
    // executor thread.
    template <class F, class C>
    void submit(F work, C completion) {
        enqueue([work = std::move(work), completion = std::move(completion)]() mutable { completion(work()); });
    }

private:
    template <class R, class F>
    static void fulfil(std::promise<R>& promise, F& work) {
        try {
            if constexpr (std::is_void_v<R>) {
                work();
                promise.set_value();
            } else {
                promise.set_value(work());
            }
        } catch (...) {
            promise.set_exception(std::current_exception());
        }
    }

    void runLoop();
    static void runGuarded(Job& job);

    std::mutex mutex_;
    std::condition_variable condition_;
    std::vector<Job> jobs_;
    std::optional<std::thread> thread_;
    std::thread::id threadID_;
};

// Gives the calling thread its name and its lowered priority: utility QoS on
// macOS, a nice value of 5 on Linux (sampling yields to interactive work but
// is not starved by batch jobs). Linux keeps at most 15 bytes of a name.
void configureSamplingThread(const char* name);

}  // namespace orv
