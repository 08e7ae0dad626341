#include "Sampling/linux/NVMLLibrary.h"

#include <dlfcn.h>

#include <cstring>

#include "core/Logger.h"

namespace orv {

NVMLLibrary::NVMLLibrary(std::string path) : path_(std::move(path)) {}

NVMLLibrary::~NVMLLibrary() {
    if (functions_) functions_->shutdown();
    if (handle_ != nullptr) dlclose(handle_);
}

const NVMLLibrary::Functions* NVMLLibrary::load() {
    std::call_once(once_, [this] {
        handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
        Functions f{};
        bool complete = handle_ != nullptr;
        auto resolve = [&](auto& slot, const char* name) {
            if (!complete) return;
            void* symbol = dlsym(handle_, name);
            if (symbol == nullptr) complete = false;
            slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(symbol);
        };
        // The _v2 entry points are the ones current drivers document.
        resolve(f.init, "nvmlInit_v2");
        resolve(f.shutdown, "nvmlShutdown");
        resolve(f.deviceGetCount, "nvmlDeviceGetCount_v2");
        resolve(f.deviceGetHandleByIndex, "nvmlDeviceGetHandleByIndex_v2");
        resolve(f.deviceGetName, "nvmlDeviceGetName");
        resolve(f.deviceGetUtilizationRates, "nvmlDeviceGetUtilizationRates");
        resolve(f.deviceGetMemoryInfo, "nvmlDeviceGetMemoryInfo");
        resolve(f.deviceGetProcessUtilization, "nvmlDeviceGetProcessUtilization");
        if (complete && f.init() == nvml::success) {
            functions_ = f;
            return;
        }
        static const Logger logger("app.orvantine.sampling", "sampling");
        logger.notice(unavailableMessage);
        if (handle_ != nullptr) {
            dlclose(handle_);
            handle_ = nullptr;
        }
    });
    return functions_ ? &*functions_ : nullptr;
}

bool NVMLLibrary::isAvailable() { return load() != nullptr; }

unsigned int NVMLLibrary::deviceCount() {
    const Functions* f = load();
    unsigned int count = 0;
    if (f == nullptr || f->deviceGetCount(&count) != nvml::success) return 0;
    return count;
}

std::optional<nvmlDevice_t> NVMLLibrary::device(unsigned int index) {
    const Functions* f = load();
    nvmlDevice_t device = nullptr;
    if (f == nullptr || f->deviceGetHandleByIndex(index, &device) != nvml::success) return std::nullopt;
    return device;
}

std::optional<std::string> NVMLLibrary::name(nvmlDevice_t device) {
    const Functions* f = load();
    char buffer[nvml::deviceNameBufferSize] = {};
    if (f == nullptr || f->deviceGetName(device, buffer, sizeof buffer) != nvml::success) return std::nullopt;
    buffer[sizeof buffer - 1] = '\0';
    return std::string(buffer, strnlen(buffer, sizeof buffer));
}

std::optional<NVMLLibrary::DeviceStatus> NVMLLibrary::status(nvmlDevice_t device) {
    const Functions* f = load();
    nvmlUtilization_t utilization{};
    if (f == nullptr || f->deviceGetUtilizationRates(device, &utilization) != nvml::success) return std::nullopt;
    DeviceStatus out;
    out.utilizationPercent = utilization.gpu;
    nvmlMemory_t memory{};
    if (f->deviceGetMemoryInfo(device, &memory) == nvml::success) out.memoryUsedBytes = memory.used;
    return out;
}

std::vector<GPUTimeIntegrator::Sample> NVMLLibrary::processSamples(nvmlDevice_t device, uint64_t lastSeen) {
    const Functions* f = load();
    std::vector<GPUTimeIntegrator::Sample> out;
    if (f == nullptr) return out;
    // Asked first without a buffer for the number of samples, then again
    // with room; the count can grow in between, so one retry with slack.
    unsigned int count = 0;
    nvmlReturn_t result = f->deviceGetProcessUtilization(device, nullptr, &count, lastSeen);
    if (result != nvml::errorInsufficientSize && result != nvml::success) return out;
    std::vector<nvmlProcessUtilizationSample_t> samples;
    for (int attempt = 0; attempt < 2 && count > 0; ++attempt) {
        samples.resize(count + 8);
        count = static_cast<unsigned int>(samples.size());
        result = f->deviceGetProcessUtilization(device, samples.data(), &count, lastSeen);
        if (result == nvml::success) break;
        if (result != nvml::errorInsufficientSize) return out;
    }
    if (result != nvml::success) return out;
    count = std::min<unsigned int>(count, static_cast<unsigned int>(samples.size()));
    for (unsigned int i = 0; i < count; ++i) {
        out.push_back({static_cast<int32_t>(samples[i].pid), samples[i].timeStamp, samples[i].smUtil});
    }
    return out;
}

}  // namespace orv
