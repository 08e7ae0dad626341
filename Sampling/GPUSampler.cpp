#include "Sampling/GPUSampler.h"

#include "Sampling/GPUMath.h"
#include "core/Logger.h"

namespace orv {

GPUSampler::GPUSampler(std::unique_ptr<GPUPort> port) : port_(std::move(port)) {}

bool GPUSampler::holdDevice() {
    if (port_->holdsDevice()) return true;
    auto device = port_->holdDevice();
    if (!device) {
        auto notice = port_->noDeviceNotice();
        if (notice.everyAttempt || !toldNoDevice_) {
            static const Logger logger("app.orvantine.sampling", "sampling");
            logger.info(notice.message);
            toldNoDevice_ = true;
        }
        return false;
    }
    toldNoDevice_ = false;
    name_ = device->model.value_or("GPU");
    return true;
}

std::optional<GPUStats> GPUSampler::stats() {
    std::lock_guard lock(mutex_);
    if (!holdDevice()) return std::nullopt;
    auto statistics = port_->performanceStatistics();
    if (!statistics || statistics->dictionary() == nullptr) {
        // The device went away; search again next time.
        port_->releaseDevice();
        return std::nullopt;
    }
    return GPUMath::stats(*statistics, name_);
}

std::map<int32_t, uint64_t> GPUSampler::processGPUTimes() {
    std::lock_guard lock(mutex_);
    if (!holdDevice()) return {};
    auto clients = port_->clientProperties();
    return GPUMath::processGPUTimes(clients);
}

}  // namespace orv
