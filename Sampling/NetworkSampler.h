#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "Sampling/NetworkPort.h"
#include "core/ContinuousClock.h"
#include "core/NetworkSource.h"
#include "core/NetworkStats.h"
#include "core/SamplingExecutor.h"

namespace orv {

// Receive and send throughput since the previous call, over the interfaces
// that count, and the primary interface. Confined to the sampling executor
// like the other samplers; construction never fails.
class NetworkSampler : public NetworkSource {
public:
    using Clock = std::function<ContinuousClock::Instant()>;

    explicit NetworkSampler(std::unique_ptr<NetworkPort> port = makeNetworkPort(),
                            SamplingExecutor& executor = SamplingExecutor::shared(),
                            Clock clock = &ContinuousClock::now);

    // Throws (through the future) SamplingError when the dump fails.
    std::future<NetworkStats> sample() override;

    // The sample itself; call only on the executor. A failure changes nothing.
    NetworkStats sampleNow();

private:
    std::unique_ptr<NetworkPort> port_;
    SamplingExecutor& executor_;
    Clock clock_;
    InterfaceCounterMap current_;
    InterfaceCounterMap previous_;
    std::optional<ContinuousClock::Instant> previousAt_;
};

}  // namespace orv
