#include "Sampling/NetworkSampler.h"

#include "Sampling/NetworkMath.h"

namespace orv {

NetworkSampler::NetworkSampler(std::unique_ptr<NetworkPort> port, SamplingExecutor& executor, Clock clock)
    : port_(std::move(port)), executor_(executor), clock_(std::move(clock)) {}

std::future<NetworkStats> NetworkSampler::sample() {
    return executor_.run([this] { return sampleNow(); });
}

NetworkStats NetworkSampler::sampleNow() {
    const auto now = clock_();
    counted_.beginPass();
    InterfaceCounterMap current = port_->readCounters(counted_);
    counted_.endPass();
    const double seconds = previousAt_ ? (now - *previousAt_).toSeconds() : 0;
    auto [in, out] = NetworkMath::rates(previousAt_ ? &previous_ : nullptr, current, seconds);
    previous_ = std::move(current);
    previousAt_ = now;
    return NetworkStats{in, out, port_->primaryInterface()};
}

}  // namespace orv
