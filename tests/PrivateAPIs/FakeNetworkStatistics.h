#pragma once

#include <atomic>
#include <chrono>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "PrivateAPIs/NetworkStatisticsMonitor.h"

namespace orv::test {

// A stand-in for the network-statistics framework behind the monitor's
// table of functions: the test reports sources and delivers their
// callbacks, on the monitor's queue as the framework would, and decides
// when a query completes.
class FakeNetworkStatistics : public std::enable_shared_from_this<FakeNetworkStatistics> {
public:
    using Monitor = NetworkStatisticsMonitor;
    // A dictionary of the fake: values by key.
    using Values = std::map<const void*, int64_t>;

    // The keys are the addresses of these.
    static inline const char pidKey = 0, uniquePIDKey = 0, rxKey = 0, txKey = 0, loopbackKey = 0;

    enum class Answer { atOnce, late, never };

    Monitor::Functions functions() {
        std::weak_ptr<FakeNetworkStatistics> weak = shared_from_this();
        Monitor::Functions f;
        f.create = [weak](SerialQueue& queue, std::function<void(Monitor::SourceRef)> added) -> Monitor::ManagerRef {
            auto self = weak.lock();
            std::lock_guard lock(self->mutex_);
            self->calls.push_back("create");
            if (self->createFails) return 0;
            self->queue_ = &queue;
            self->added_ = std::move(added);
            return 0x1000;
        };
        f.destroy = [weak](Monitor::ManagerRef) { weak.lock()->record("destroy"); };
        f.addAllTCP = [weak](Monitor::ManagerRef) { weak.lock()->record("addAllTCP"); };
        f.addAllUDP = [weak](Monitor::ManagerRef) { weak.lock()->record("addAllUDP"); };
        f.queryCounts = [weak](Monitor::ManagerRef, std::function<void()> done) {
            weak.lock()->query("queryCounts", std::move(done));
        };
        f.queryUpdate = [weak](Monitor::ManagerRef, std::function<void()> done) {
            weak.lock()->query("queryUpdate", std::move(done));
        };
        f.setCountsBlock = [weak](Monitor::SourceRef source, std::function<void(Monitor::Dictionary)> block) {
            auto self = weak.lock();
            std::lock_guard lock(self->mutex_);
            self->sources_[source].counts = std::move(block);
        };
        f.setDescriptionBlock = [weak](Monitor::SourceRef source, std::function<void(Monitor::Dictionary)> block) {
            auto self = weak.lock();
            std::lock_guard lock(self->mutex_);
            self->sources_[source].description = std::move(block);
        };
        f.setRemovedBlock = [weak](Monitor::SourceRef source, std::function<void()> block) {
            auto self = weak.lock();
            std::lock_guard lock(self->mutex_);
            self->sources_[source].removed = std::move(block);
        };
        f.keys = {&pidKey, &uniquePIDKey, &rxKey, &txKey, &loopbackKey};
        f.readValue = [](Monitor::Dictionary dictionary, const void* key) -> std::optional<int64_t> {
            const auto& values = *static_cast<const Values*>(dictionary);
            auto found = values.find(key);
            if (found == values.end()) return std::nullopt;
            return found->second;
        };
        return f;
    }

    // A new source, reported on the queue.
    void report(Monitor::SourceRef source) {
        onQueue([this, source] { added_(source); });
    }
    void counts(Monitor::SourceRef source, Values values) { deliver(source, std::move(values), false); }
    void describe(Monitor::SourceRef source, Values values) { deliver(source, std::move(values), true); }
    void nullCounts(Monitor::SourceRef source) {
        onQueue([this, source] { block(source, false)(nullptr); });
    }
    void remove(Monitor::SourceRef source) {
        onQueue([this, source] {
            std::function<void()> removed;
            {
                std::lock_guard lock(mutex_);
                removed = sources_[source].removed;
            }
            removed();
        });
    }
    // Waits until everything handed to the queue so far has run.
    void drain() {
        std::promise<void> done;
        onQueue([&done] { done.set_value(); });
        done.get_future().wait();
    }
    // Completes the queries held back (`late` or `never`).
    void completeHeld() {
        std::vector<std::function<void()>> held;
        {
            std::lock_guard lock(mutex_);
            held.swap(held_);
        }
        for (auto& done : held) onQueue(done);
    }

    std::vector<std::string> callsSoFar() {
        std::lock_guard lock(mutex_);
        return calls;
    }

    static Values description(int64_t pid, int64_t uniquePID, bool loopback = false) {
        return {{&pidKey, pid}, {&uniquePIDKey, uniquePID}, {&loopbackKey, loopback ? 1 : 0}};
    }
    static Values bytes(int64_t rx, int64_t tx) { return {{&rxKey, rx}, {&txKey, tx}}; }

    bool createFails = false;
    Answer answer = Answer::atOnce;
    // Before answering, what the framework would deliver for this query.
    std::function<void()> beforeAnswer;

private:
    struct SourceBlocks {
        std::function<void(Monitor::Dictionary)> counts, description;
        std::function<void()> removed;
    };

    void record(std::string call) {
        std::lock_guard lock(mutex_);
        calls.push_back(std::move(call));
    }
    void query(std::string name, std::function<void()> done) {
        record(std::move(name));
        if (beforeAnswer) beforeAnswer();
        if (answer == Answer::atOnce) {
            onQueue(std::move(done));
        } else {
            std::lock_guard lock(mutex_);
            held_.push_back(std::move(done));
        }
    }
    std::function<void(Monitor::Dictionary)> block(Monitor::SourceRef source, bool description) {
        std::lock_guard lock(mutex_);
        return description ? sources_[source].description : sources_[source].counts;
    }
    void deliver(Monitor::SourceRef source, Values values, bool isDescription) {
        onQueue([this, source, values = std::move(values), isDescription] { block(source, isDescription)(&values); });
    }
    void onQueue(std::function<void()> work) { queue_->async(std::move(work)); }

    std::mutex mutex_;
    std::vector<std::string> calls;
    SerialQueue* queue_ = nullptr;
    std::function<void(Monitor::SourceRef)> added_;
    std::map<Monitor::SourceRef, SourceBlocks> sources_;
    std::vector<std::function<void()>> held_;
};

}  // namespace orv::test
