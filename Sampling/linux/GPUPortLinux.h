#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "Sampling/GPUPort.h"

namespace orv {

// The Linux GPU port. The device is the first amdgpu card below
// <root>/sys/class/drm (its own gpu_busy_percent), else the first NVIDIA
// device through NVML (tried only when the NVIDIA driver shows in
// <root>/proc/driver/nvidia), else the first Intel card (i915 or xe), whose
// load is the growth of its DRM clients' render time (DRMUtilization).
// Per-process times come from the fdinfo of the chosen card's DRM clients,
// and for NVIDIA from NVML's process samples integrated over time instead.
struct GPUPortLinuxOptions {
    std::filesystem::path root = "/";
    std::string nvmlPath = "libnvidia-ml.so.1";
    // A monotonic clock, for the Intel load's intervals.
    std::function<int64_t()> monotonicNanoseconds = nullptr;
    // The clock NVML stamps its process samples with (microseconds since 1970).
    std::function<uint64_t()> unixMicroseconds = nullptr;
};

std::unique_ptr<GPUPort> makeGPUPort(const GPUPortLinuxOptions& options);

}  // namespace orv
