// A scripted NVML for the GPU port's tests: the same entry points as
// libnvidia-ml.so.1, answering from one global state the test sets.
#include <cstring>

#include "Sampling/linux/NVMLTypes.h"
#include "tests/programs/FakeNVMLState.h"

namespace {
FakeNVMLState state;
nvmlDevice_t deviceHandle() { return reinterpret_cast<nvmlDevice_t>(&state); }
}  // namespace

extern "C" {

FakeNVMLState* fakeNVMLState() { return &state; }

nvmlReturn_t nvmlInit_v2() {
    ++state.initCalls;
    return state.initResult;
}

nvmlReturn_t nvmlShutdown() { return 0; }

nvmlReturn_t nvmlDeviceGetCount_v2(unsigned int* count) {
    *count = state.deviceCount;
    return 0;
}

nvmlReturn_t nvmlDeviceGetHandleByIndex_v2(unsigned int index, nvmlDevice_t* device) {
    if (index >= state.deviceCount) return 2;  // NVML_ERROR_INVALID_ARGUMENT
    *device = deviceHandle();
    return 0;
}

nvmlReturn_t nvmlDeviceGetName(nvmlDevice_t, char* name, unsigned int length) {
    if (length == 0) return 7;
    std::strncpy(name, state.name, length - 1);
    name[length - 1] = '\0';
    return 0;
}

nvmlReturn_t nvmlDeviceGetUtilizationRates(nvmlDevice_t, nvmlUtilization_t* utilization) {
    utilization->gpu = state.gpuPercent;
    utilization->memory = 0;
    return 0;
}

nvmlReturn_t nvmlDeviceGetMemoryInfo(nvmlDevice_t, nvmlMemory_t* memory) {
    memory->total = state.memoryUsed * 4;
    memory->used = state.memoryUsed;
    memory->free = memory->total - memory->used;
    return 0;
}

nvmlReturn_t nvmlDeviceGetProcessUtilization(nvmlDevice_t, nvmlProcessUtilizationSample_t* samples,
                                             unsigned int* count, unsigned long long lastSeen) {
    state.lastSeenAsked = lastSeen;
    unsigned int fresh = 0;
    for (unsigned int i = 0; i < state.sampleCount; ++i) {
        if (state.samples[i].timeStamp > lastSeen) ++fresh;
    }
    if (fresh == 0) return 6;  // NVML_ERROR_NOT_FOUND
    if (samples == nullptr || *count < fresh) {
        *count = fresh;
        return 7;  // NVML_ERROR_INSUFFICIENT_SIZE
    }
    unsigned int written = 0;
    for (unsigned int i = 0; i < state.sampleCount; ++i) {
        if (state.samples[i].timeStamp > lastSeen) samples[written++] = state.samples[i];
    }
    *count = written;
    return 0;
}

}
