#include "Sampling/CPUSampler.h"

#include "Sampling/CPULoadMath.h"

namespace orv {

CPUSampler::CPUSampler(std::unique_ptr<CPUPort> port, SamplingExecutor& executor)
    : port_(std::move(port)), executor_(executor), topology_(port_->readTopology()) {}

std::future<CPUStats> CPUSampler::sample() {
    return executor_.run([this] { return sampleNow(); });
}

CPUStats CPUSampler::sampleNow() {
    auto ticks = port_->readTicks();
    auto load = port_->readLoadAverage().value_or(LoadAverage::zero());
    auto stats = CPUStats::fromCoreLoads(CPULoadMath::coreLoads(previous_, ticks), topology_, load);
    previous_ = std::move(ticks);
    return stats;
}

}  // namespace orv
