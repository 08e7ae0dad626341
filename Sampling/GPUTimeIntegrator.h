#pragma once

#include <cstdint>
#include <map>
#include <span>

namespace orv {

// Turns utilisation samples (a process's share of the GPU at an instant,
// as NVML reports them) into accumulated GPU time: each sample's share
// times the time since the previous sample of that process, or since the
// last sample seen at all for a process seen for the first time.
class GPUTimeIntegrator {
public:
    struct Sample {
        int32_t pid = 0;
        uint64_t timestampMicroseconds = 0;
        uint32_t percent = 0;
    };

    // Samples at or before the last one already taken are ignored.
    void add(std::span<const Sample> samples);

    // The newest sample time seen, to ask only for later ones.
    uint64_t lastSeen() const { return lastSeen_; }
    const std::map<int32_t, uint64_t>& nanoseconds() const { return totals_; }

private:
    uint64_t lastSeen_ = 0;
    std::map<int32_t, uint64_t> previous_;
    std::map<int32_t, uint64_t> totals_;
};

}  // namespace orv
