#include "Sampling/GPUTimeIntegrator.h"

#include <algorithm>
#include <vector>

namespace orv {

void GPUTimeIntegrator::add(std::span<const Sample> samples, uint64_t queriedAtMicroseconds) {
    std::vector<Sample> fresh;
    for (const Sample& s : samples) {
        if (s.timestampMicroseconds > lastSeen_) fresh.push_back(s);
    }
    std::sort(fresh.begin(), fresh.end(),
              [](const Sample& a, const Sample& b) { return a.timestampMicroseconds < b.timestampMicroseconds; });
    // Where this batch's time starts: the previous query, or failing that
    // the newest sample it brought.
    uint64_t batchStart = std::max(previousQuery_, lastSeen_);
    uint64_t newest = lastSeen_;
    for (const Sample& s : fresh) {
        auto it = previous_.try_emplace(s.pid, 0).first;
        // A sample of the very first batch has nothing to measure against:
        // it only starts the clock.
        uint64_t since = batchStart == 0 ? 0 : std::max(it->second, batchStart);
        if (since != 0 && s.timestampMicroseconds > since) {
            uint64_t elapsed = s.timestampMicroseconds - since;
            totals_[s.pid] += elapsed * 1000 * std::min<uint32_t>(s.percent, 100) / 100;
        } else {
            totals_.try_emplace(s.pid, 0);
        }
        it->second = std::max(it->second, s.timestampMicroseconds);
        newest = std::max(newest, s.timestampMicroseconds);
    }
    lastSeen_ = newest;
    previousQuery_ = std::max(previousQuery_, queriedAtMicroseconds);
}

}  // namespace orv
