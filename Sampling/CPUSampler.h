#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "Sampling/CPUPort.h"
#include "core/CPUSource.h"
#include "core/CPUStats.h"
#include "core/SamplingExecutor.h"

namespace orv {

// Busy shares of every core and cluster since the previous call, with the
// load averages. Confined to the sampling executor: `sample` queues the
// work there; code already on the executor may call `sampleNow`. The
// topology is worked out at construction, which never fails, and again
// whenever a core goes on- or offline.
class CPUSampler : public CPUSource {
public:
    explicit CPUSampler(std::unique_ptr<CPUPort> port = makeCPUPort(),
                        SamplingExecutor& executor = SamplingExecutor::shared());

    // Throws (through the future) SamplingError when the ticks cannot be read.
    std::future<CPUStats> sample() override;

    // The sample itself; call only on the executor (or on a sampler no other
    // thread can reach, as tests do). A failure leaves the previous ticks.
    CPUStats sampleNow();

    const CPUTopology& topology() const { return topology_; }

private:
    std::unique_ptr<CPUPort> port_;
    SamplingExecutor& executor_;
    CPUTopology topology_;
    std::optional<std::vector<CPUTicks>> previous_;
    // The kernel's core numbers the topology and the previous ticks are of.
    std::optional<std::vector<int64_t>> topologyCores_;
    std::optional<std::vector<int64_t>> previousCores_;
};

}  // namespace orv
