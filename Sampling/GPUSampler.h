#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "Sampling/GPUPort.h"
#include "Sampling/GPUSource.h"

namespace orv {

// The GPU's utilisation and memory, and per-process GPU time. The device is
// found lazily, kept, and dropped only when its statistics can no longer be
// read. When none qualifies the port's notice is logged: at every search, or
// once until a device is found, as the port says. Calls run one at a time
// behind the sampler's own lock.
class GPUSampler : public GPUSource {
public:
    explicit GPUSampler(std::unique_ptr<GPUPort> port = makeGPUPort());

    std::optional<GPUStats> stats() override;
    std::map<int32_t, uint64_t> processGPUTimes() override;

private:
    bool holdDevice();

    std::mutex mutex_;
    std::unique_ptr<GPUPort> port_;
    std::string name_ = "GPU";
    bool toldNoDevice_ = false;
};

}  // namespace orv
