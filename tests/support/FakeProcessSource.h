#pragma once

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "core/ProcessSource.h"

namespace orv::test {

// A ProcessSource that answers at once with fixed readings, or throws, and
// remembers how it was asked.
class FakeProcessSource : public ProcessSource {
public:
    explicit FakeProcessSource(std::vector<ProcessReading> readings = {}) : readings_(std::move(readings)) {}

    std::future<std::vector<ProcessReading>> sample() override { return answer(PidSet{}); }
    std::future<std::vector<ProcessReading>> sample(const PidSet& skip) override { return answer(skip); }

    void setReadings(std::vector<ProcessReading> readings) {
        std::lock_guard lock(mutex_);
        readings_ = std::move(readings);
    }
    void setThrows(bool throws) { throws_ = throws; }
    int calls() const { return calls_; }
    PidSet lastSkip() const {
        std::lock_guard lock(mutex_);
        return lastSkip_;
    }

private:
    std::future<std::vector<ProcessReading>> answer(const PidSet& skip) {
        std::promise<std::vector<ProcessReading>> promise;
        ++calls_;
        std::lock_guard lock(mutex_);
        lastSkip_ = skip;
        if (throws_) promise.set_exception(std::make_exception_ptr(std::runtime_error("table unreadable")));
        else promise.set_value(readings_);
        return promise.get_future();
    }

    mutable std::mutex mutex_;
    std::vector<ProcessReading> readings_;
    PidSet lastSkip_;
    std::atomic<bool> throws_{false};
    std::atomic<int> calls_{0};
};

// A reading that names where it came from.
inline ProcessReading readingNamed(int32_t pid, std::string name) {
    ProcessReading r;
    r.pid = pid;
    r.parentPID = 1;
    r.name = std::move(name);
    r.startTime = Date{721692800.5};
    r.isComplete = true;
    return r;
}

// A reading that differs from another pid's beyond its name, as a real
// table's rows do: CPU time and footprint follow the pid.
inline ProcessReading readingWithUsage(int32_t pid, std::string name) {
    ProcessReading r = readingNamed(pid, std::move(name));
    r.cpuTime = Duration::milliseconds(pid * 10);
    r.footprintBytes = uint64_t(pid) << 12;
    return r;
}

}  // namespace orv::test
