#pragma once

#include <cstdint>
#include <memory>

#include "Sampling/MemoryPort.h"
#include "core/MemorySource.h"
#include "core/MemoryStats.h"
#include "core/SamplingExecutor.h"
#include "core/ThreadConfinement.h"

namespace orv {

// Physical memory, its use by category, swap and the kernel's pressure
// verdict. Keeps nothing between samples but the page size and the total,
// fixed at construction, which never fails. Confined to the sampling
// executor like the other samplers.
class MemorySampler : public MemorySource {
public:
    explicit MemorySampler(std::unique_ptr<MemoryPort> port = makeMemoryPort(),
                           SamplingExecutor& executor = SamplingExecutor::shared());

    // Throws (through the future) SamplingError when the page counts fail.
    std::future<MemoryStats> sample() override;

    // The sample itself; call only on the executor (or on a sampler no
    // other thread can reach, as tests do). A call from another thread than
    // the first throws std::logic_error.
    MemoryStats sampleNow();

    uint64_t pageSize() const { return pageSize_; }
    uint64_t totalBytes() const { return totalBytes_; }

private:
    std::unique_ptr<MemoryPort> port_;
    SamplingExecutor& executor_;
    uint64_t pageSize_ = 0;
    uint64_t totalBytes_ = 0;
    ThreadConfinement confinement_{"MemorySampler"};
};

}  // namespace orv
