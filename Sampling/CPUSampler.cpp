#include "Sampling/CPUSampler.h"

#include "Sampling/CPULoadMath.h"

namespace orv {

CPUSampler::CPUSampler(std::unique_ptr<CPUPort> port, SamplingExecutor& executor)
    : port_(std::move(port)), executor_(executor), topology_(port_->readTopology()),
      topologyCores_(port_->lastCoreNumbers()) {}

std::future<CPUStats> CPUSampler::sample() {
    return executor_.run([this] { return sampleNow(); });
}

CPUStats CPUSampler::sampleNow() {
    auto ticks = port_->readTicks();
    auto cores = port_->lastCoreNumbers();
    if (cores && cores != topologyCores_) {
        // A core went on- or offline: positions moved, so the clusters are
        // worked out again, and the previous ticks are lined up by core
        // number (a core new since then counts from now).
        topology_ = port_->readTopology();
        topologyCores_ = port_->lastCoreNumbers();
        if (previous_ && previousCores_) {
            std::vector<CPUTicks> aligned = ticks;
            for (size_t i = 0; i < cores->size(); ++i) {
                for (size_t j = 0; j < previousCores_->size() && j < previous_->size(); ++j) {
                    if ((*previousCores_)[j] == (*cores)[i]) aligned[i] = (*previous_)[j];
                }
            }
            previous_ = std::move(aligned);
        }
    }
    auto load = port_->readLoadAverage().value_or(LoadAverage::zero());
    auto stats = CPUStats::fromCoreLoads(CPULoadMath::coreLoads(previous_, ticks, port_->counterWidth()), topology_, load);
    previous_ = std::move(ticks);
    previousCores_ = std::move(cores);
    return stats;
}

}  // namespace orv
