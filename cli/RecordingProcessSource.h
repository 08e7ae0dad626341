#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "cli/ProcessFacts.h"
#include "core/ProcessSource.h"

namespace orv::cli {

// A process source that passes another's readings on and keeps the facts
// of the last pass that were not carried into the snapshot (parent, user,
// executable, start), for the live view's tree, filter and detail panel.
class RecordingProcessSource final : public ProcessSource {
public:
    explicit RecordingProcessSource(std::shared_ptr<ProcessSource> inner) : inner_(std::move(inner)) {}

    std::future<std::vector<ProcessReading>> sample() override { return recorded(inner_->sample()); }
    std::future<std::vector<ProcessReading>> sample(const PidSet& skippingUsageFor) override {
        return recorded(inner_->sample(skippingUsageFor));
    }

    // The facts of the last pass that answered; empty before any. Shared,
    // not copied: a view holds them until the next pass, which makes a new
    // table instead of changing this one.
    std::shared_ptr<const ProcessFactsByPID> facts() const {
        std::lock_guard lock(mutex_);
        return facts_;
    }

private:
    // The readings are recorded where they are collected (`get` runs the
    // deferred step on the caller's thread), so no extra thread is involved.
    std::future<std::vector<ProcessReading>> recorded(std::future<std::vector<ProcessReading>> readings) {
        return std::async(std::launch::deferred, [this, readings = std::move(readings)]() mutable {
            auto result = readings.get();
            std::vector<ProcessFactsByPID::value_type> entries;
            entries.reserve(result.size());
            for (const auto& reading : result) entries.emplace_back(reading.pid, ProcessFacts::of(reading, paths_));
            auto facts = std::make_shared<const ProcessFactsByPID>(std::move(entries));
            // Paths of executables no process runs any more go, in bulk.
            if (paths_.size() > 2 * result.size() + 64) paths_.prune();
            std::shared_ptr<const ProcessFactsByPID> replaced;  // freed outside the lock
            std::lock_guard lock(mutex_);
            replaced = std::exchange(facts_, std::move(facts));
            return result;
        });
    }

    std::shared_ptr<ProcessSource> inner_;
    // Touched only where readings are collected, one pass at a time.
    SharedStrings paths_;
    mutable std::mutex mutex_;
    std::shared_ptr<const ProcessFactsByPID> facts_ = std::make_shared<const ProcessFactsByPID>();
};

}  // namespace orv::cli
