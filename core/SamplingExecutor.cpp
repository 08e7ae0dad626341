#include "core/SamplingExecutor.h"

#include <exception>
#include <string>

#include "core/Logger.h"

namespace orv {

SamplingExecutor::SamplingExecutor() {
    auto started = std::make_shared<std::promise<std::thread::id>>();
    auto startedFuture = started->get_future();
    // The thread refers to the executor without owning it.
    thread_.emplace([this, started] {
        configureSamplingThread(threadName);
        started->set_value(std::this_thread::get_id());
        runLoop();
    });
    threadID_ = startedFuture.get();
}

SamplingExecutor::~SamplingExecutor() {
    // The run loop has no exit; the thread dies with the process.
    if (thread_) thread_->detach();
}

SamplingExecutor& SamplingExecutor::shared() {
    static auto* executor = new SamplingExecutor();  // deliberately never destroyed
    return *executor;
}

void SamplingExecutor::enqueue(Job job) {
    {
        std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    condition_.notify_one();
}

void SamplingExecutor::runGuarded(Job& job) {
    // `run` hands a failure to its future; a bare job has nobody waiting,
    // and an exception escaping the thread would end the process.
    try {
        job();
    } catch (const std::exception& e) {
        Logger("app.orvantine.sampling", "executor").error(std::string("A sampling job failed: ") + e.what());
    } catch (...) {
        Logger("app.orvantine.sampling", "executor").error("A sampling job failed: unknown failure");
    }
}

void SamplingExecutor::runLoop() {
    std::vector<Job> batch;
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            condition_.wait(lock, [this] { return !jobs_.empty(); });
            // Swap the whole queue out; both vectors keep their capacity.
            std::swap(batch, jobs_);
        }
        for (auto& job : batch) runGuarded(job);
        batch.clear();
    }
}

}  // namespace orv
