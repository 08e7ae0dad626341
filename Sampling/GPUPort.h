#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/PropertyValue.h"

namespace orv {

// The platform's GPU reads. On macOS the device is the first IOAccelerator
// publishing "PerformanceStatistics"; on Linux an amdgpu card, an NVIDIA
// device through NVML or an Intel card, described in the same dictionaries.
class GPUPort {
public:
    struct Device {
        std::optional<std::string> model;
    };

    // What the sampler logs when no device qualifies, and whether at every
    // failed search (macOS's registry changes under us) or once until a
    // device is found (Linux, where searching again is routine).
    struct NoDeviceNotice {
        const char* message = "no IOAccelerator with PerformanceStatistics";
        bool everyAttempt = true;
    };

    virtual ~GPUPort() = default;

    virtual NoDeviceNotice noDeviceNotice() const { return {}; }

    // Chooses and keeps the first device with performance statistics;
    // absent when none has them.
    virtual std::optional<Device> holdDevice() = 0;
    virtual bool holdsDevice() const = 0;
    virtual void releaseDevice() = 0;

    // The held device's "PerformanceStatistics"; absent when unreadable.
    virtual std::optional<PropertyValue> performanceStatistics() = 0;

    // The property dictionaries of the held device's clients, each with
    // "IOUserClientCreator" and "AppUsage".
    virtual std::vector<PropertyValue> clientProperties() = 0;
};

std::unique_ptr<GPUPort> makeGPUPort();

}  // namespace orv
