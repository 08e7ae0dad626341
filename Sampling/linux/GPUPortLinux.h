#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "Sampling/GPUPort.h"

namespace orv {

// The Linux GPU port: the first amdgpu card below <root>/sys/class/drm,
// else the first NVIDIA device through NVML (tried only when the NVIDIA
// driver shows in <root>/proc/driver/nvidia). Per-process times come from
// DRM fdinfo, and for NVIDIA from NVML's process samples integrated over time.
struct GPUPortLinuxOptions {
    std::filesystem::path root = "/";
    std::string nvmlPath = "libnvidia-ml.so.1";
};

std::unique_ptr<GPUPort> makeGPUPort(const GPUPortLinuxOptions& options);

}  // namespace orv
