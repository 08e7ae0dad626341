#include "Sampling/NetworkSampler.h"

namespace orv {

NetworkSampler::NetworkSampler(std::unique_ptr<NetworkPort> port, SamplingExecutor& executor, Clock clock)
    : port_(std::move(port)), executor_(executor), clock_(std::move(clock)) {}

std::future<NetworkStats> NetworkSampler::sample() {
    return executor_.run([this] { return sampleNow(); });
}

NetworkStats NetworkSampler::sampleNow() {
    const auto now = clock_();
    port_->readCounters(current_);
    const double seconds = previousAt_ ? (now - *previousAt_).toSeconds() : 0;
    auto [in, out] = NetworkMath::rates(previousAt_ ? &previous_ : nullptr, current_, seconds,
                                        [this](const std::string& name) { return port_->counts(name); });
    // The two maps trade places, so steady-state samples reuse their storage.
    std::swap(previous_, current_);
    previousAt_ = now;
    return NetworkStats{in, out, port_->primaryInterface()};
}

}  // namespace orv
