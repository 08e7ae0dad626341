#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "core/GPUStats.h"

namespace orv {

// What the snapshot builder asks of the GPU: the machine-wide stats, and
// each process's accumulated GPU time (differenced over the interval by the
// process rate step).
class GPUSource {
public:
    virtual ~GPUSource() = default;
    virtual std::optional<GPUStats> stats() = 0;
    virtual std::map<int32_t, uint64_t> processGPUTimes() = 0;
};

}  // namespace orv
