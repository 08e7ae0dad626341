#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Sampling/CountedDeviceCache.h"
#include "Sampling/NetworkPort.h"
#include "core/ContinuousClock.h"
#include "core/NetworkSource.h"
#include "core/NetworkStats.h"
#include "core/SamplingExecutor.h"

namespace orv {

// Receive and send throughput since the previous call, over the interfaces
// that count, and the primary interface. Which interfaces count is the
// port's rule, asked once per interface and kept in the sampler's cache
// (CountedDeviceCache). Confined to the sampling executor like the other
// samplers; construction never fails.
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

    const CountedDeviceCache<std::string>& countedInterfaces() const { return counted_; }

private:
    std::unique_ptr<NetworkPort> port_;
    SamplingExecutor& executor_;
    Clock clock_;
    InterfaceCounterMap previous_;
    std::optional<ContinuousClock::Instant> previousAt_;
    CountedDeviceCache<std::string> counted_;
};

}  // namespace orv
