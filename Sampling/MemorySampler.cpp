#include "Sampling/MemorySampler.h"

#include <fmt/format.h>

#include "Sampling/MemoryMath.h"
#include "core/Logger.h"
#include "core/SamplingError.h"

namespace orv {

namespace {
const Logger& samplingLog() {
    static const Logger log("app.orvantine.sampling", "sampling");
    return log;
}
}  // namespace

MemorySampler::MemorySampler(std::unique_ptr<MemoryPort> port, SamplingExecutor& executor)
    : port_(std::move(port)), executor_(executor), pageSize_(port_->pageSize()) {
    if (auto physical = port_->physicalMemory()) {
        totalBytes_ = *physical;
    } else {
        samplingLog().error(fmt::format("hw.memsize unavailable, using ProcessInfo: {}", physical.error().description()));
        totalBytes_ = port_->fallbackPhysicalMemory();
    }
}

std::future<MemoryStats> MemorySampler::sample() {
    return executor_.run([this] { return sampleNow(); });
}

MemoryStats MemorySampler::sampleNow() {
    confinement_.check();
    const VMPageCounts pages = port_->readPageCounts();
    uint64_t swapUsed = 0;
    if (auto swap = port_->readSwapUsed()) swapUsed = *swap;
    else samplingLog().error(fmt::format("vm.swapusage unavailable: {}", swap.error().description()));
    const MemoryPressure pressure = port_->readPressure();
    const int64_t available = MemoryMath::clampLevel(port_->readAvailableLevel());
    return MemoryMath::stats(pages, pageSize_, totalBytes_, swapUsed, pressure, available);
}

}  // namespace orv
