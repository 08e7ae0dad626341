#pragma once

#include "Sampling/linux/NVMLTypes.h"

// What the fake NVML answers; the tests reach it with
// dlsym(handle, "fakeNVMLState").
struct FakeNVMLState {
    nvmlReturn_t initResult = 0;
    int initCalls = 0;
    unsigned int deviceCount = 1;
    char name[96] = "NVIDIA GeForce RTX 4070";
    unsigned int gpuPercent = 0;
    unsigned long long memoryUsed = 0;
    unsigned int sampleCount = 0;
    nvmlProcessUtilizationSample_t samples[8] = {};
    unsigned long long lastSeenAsked = 0;
};

extern "C" FakeNVMLState* fakeNVMLState();
