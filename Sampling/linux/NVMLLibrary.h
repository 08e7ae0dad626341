#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Sampling/GPUTimeIntegrator.h"
#include "Sampling/linux/NVMLTypes.h"

namespace orv {

// NVIDIA's management library, loaded at run time so that machines
// without the driver need nothing of it. Loading, resolving and nvmlInit
// happen once; if any fails the facility is off for good, with one log line.
class NVMLLibrary {
public:
    static constexpr const char* defaultPath = "libnvidia-ml.so.1";
    static constexpr const char* unavailableMessage = "NVML unavailable; NVIDIA GPUs are not sampled";

    explicit NVMLLibrary(std::string path = defaultPath);
    ~NVMLLibrary();
    NVMLLibrary(const NVMLLibrary&) = delete;
    NVMLLibrary& operator=(const NVMLLibrary&) = delete;

    bool isAvailable();

    struct DeviceStatus {
        unsigned int utilizationPercent = 0;
        std::optional<uint64_t> memoryUsedBytes;
    };

    unsigned int deviceCount();
    std::optional<nvmlDevice_t> device(unsigned int index);
    std::optional<std::string> name(nvmlDevice_t device);
    std::optional<DeviceStatus> status(nvmlDevice_t device);
    // Samples newer than `lastSeen` (microseconds); empty when none.
    std::vector<GPUTimeIntegrator::Sample> processSamples(nvmlDevice_t device, uint64_t lastSeen);

private:
    struct Functions {
        nvmlReturn_t (*init)();
        nvmlReturn_t (*shutdown)();
        nvmlReturn_t (*deviceGetCount)(unsigned int*);
        nvmlReturn_t (*deviceGetHandleByIndex)(unsigned int, nvmlDevice_t*);
        nvmlReturn_t (*deviceGetName)(nvmlDevice_t, char*, unsigned int);
        nvmlReturn_t (*deviceGetUtilizationRates)(nvmlDevice_t, nvmlUtilization_t*);
        nvmlReturn_t (*deviceGetMemoryInfo)(nvmlDevice_t, nvmlMemory_t*);
        nvmlReturn_t (*deviceGetProcessUtilization)(nvmlDevice_t, nvmlProcessUtilizationSample_t*, unsigned int*,
                                                    unsigned long long);
    };

    const Functions* load();

    std::string path_;
    std::once_flag once_;
    void* handle_ = nullptr;
    std::optional<Functions> functions_;
};

}  // namespace orv
