#pragma once

// The few NVML declarations this program calls, as nvml.h has them (NVML
// API reference); the library itself is loaded at run time, so its header
// is not needed to build.

extern "C" {

typedef int nvmlReturn_t;  // NVML_SUCCESS is 0
typedef struct nvmlDevice_st* nvmlDevice_t;

typedef struct {
    unsigned int gpu;     // percent of time a kernel ran over the last period
    unsigned int memory;  // percent of time memory was read or written
} nvmlUtilization_t;

typedef struct {
    unsigned long long total;
    unsigned long long free;
    unsigned long long used;
} nvmlMemory_t;

typedef struct {
    unsigned int pid;
    unsigned long long timeStamp;  // CPU time, microseconds
    unsigned int smUtil;
    unsigned int memUtil;
    unsigned int encUtil;
    unsigned int decUtil;
} nvmlProcessUtilizationSample_t;

}

namespace orv::nvml {
inline constexpr nvmlReturn_t success = 0;
inline constexpr nvmlReturn_t errorNotFound = 6;
inline constexpr nvmlReturn_t errorInsufficientSize = 7;
inline constexpr unsigned int deviceNameBufferSize = 96;  // NVML_DEVICE_NAME_V2_BUFFER_SIZE
}  // namespace orv::nvml
