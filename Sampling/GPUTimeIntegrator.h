#pragma once

#include <cstdint>
#include <map>
#include <span>

namespace orv {

// Turns utilisation samples (a process's share of the GPU at an instant,
// as NVML reports them) into accumulated GPU time: each sample's share
// times the time it stands for. That is the time since the process's
// previous sample, but never from before the previous query: a process
// that sat idle for a minute and is busy again has no samples in between,
// and its new share must not be stretched over the whole gap.
class GPUTimeIntegrator {
public:
    struct Sample {
        int32_t pid = 0;
        uint64_t timestampMicroseconds = 0;
        uint32_t percent = 0;
    };

    // The samples one query answered, asked at `queriedAtMicroseconds` on
    // the samples' clock (0 when unknown: the newest sample seen before
    // stands for the query). Samples at or before the last one already
    // taken are ignored.
    void add(std::span<const Sample> samples, uint64_t queriedAtMicroseconds = 0);

    // The newest sample time seen, to ask only for later ones.
    uint64_t lastSeen() const { return lastSeen_; }
    const std::map<int32_t, uint64_t>& nanoseconds() const { return totals_; }

private:
    uint64_t lastSeen_ = 0;
    uint64_t previousQuery_ = 0;
    std::map<int32_t, uint64_t> previous_;
    std::map<int32_t, uint64_t> totals_;
};

}  // namespace orv
