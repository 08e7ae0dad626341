#include "Sampling/GPUTimeIntegrator.h"

#include <algorithm>
#include <vector>

namespace orv {

void GPUTimeIntegrator::add(std::span<const Sample> samples) {
    std::vector<Sample> fresh;
    for (const Sample& s : samples) {
        if (s.timestampMicroseconds > lastSeen_) fresh.push_back(s);
    }
    std::sort(fresh.begin(), fresh.end(),
              [](const Sample& a, const Sample& b) { return a.timestampMicroseconds < b.timestampMicroseconds; });
    uint64_t newest = lastSeen_;
    for (const Sample& s : fresh) {
        auto [it, first] = previous_.try_emplace(s.pid, lastSeen_);
        uint64_t since = it->second;
        // A process's first sample in the very first batch has nothing to
        // measure against: it only starts the clock.
        if (since != 0 && s.timestampMicroseconds > since) {
            uint64_t elapsed = s.timestampMicroseconds - since;
            totals_[s.pid] += elapsed * 1000 * std::min<uint32_t>(s.percent, 100) / 100;
        } else {
            totals_.try_emplace(s.pid, 0);
        }
        it->second = s.timestampMicroseconds;
        newest = std::max(newest, s.timestampMicroseconds);
        (void)first;
    }
    lastSeen_ = newest;
}

}  // namespace orv
