#include <gtest/gtest.h>

#include <dlfcn.h>

#include "Sampling/GPUSampler.h"
#include "Sampling/linux/DRMClientScan.h"
#include "Sampling/linux/GPUPortLinux.h"
#include "core/CapturingLogSink.h"
#include "support/TempDir.h"
#include "tests/programs/FakeNVMLState.h"

namespace orv {
namespace {

using test::TempDir;

constexpr const char* amdgpuClient =
    "pos:\t0\nflags:\t02100002\nmnt_id:\t24\nino:\t1035\ndrm-driver:\tamdgpu\ndrm-client-id:\t41\n"
    "drm-pdev:\t0000:03:00.0\ndrm-memory-vram:\t12288 KiB\ndrm-engine-gfx:\t1500000 ns\ndrm-engine-compute:\t500000 ns\n";
constexpr const char* i915Client =
    "pos:\t0\nflags:\t02100002\ndrm-driver:\ti915\ndrm-pdev:\t0000:00:02.0\ndrm-client-id:\t7\n"
    "drm-engine-render:\t9000 ns\ndrm-engine-copy:\t1000 ns\ndrm-engine-capacity-video:\t2\n";

void descriptor(const TempDir& dir, int pid, int fd, const std::string& target, const std::string& fdinfo) {
    std::string base = "proc/" + std::to_string(pid) + "/";
    dir.mkdir(base + "fd");
    dir.symlink(base + "fd/" + std::to_string(fd), target);
    dir.write(base + "fdinfo/" + std::to_string(fd), fdinfo);
}

void amdgpuCard(const TempDir& dir) {
    dir.write("sys/class/drm/card0/device/gpu_busy_percent", "37\n");
    dir.write("sys/class/drm/card0/device/mem_info_vram_used", "1073741824\n");
    dir.write("sys/class/drm/card0/device/product_name", "AMD Radeon RX 7600\n");
    dir.mkdir("sys/class/drm/card0-DP-1");
    dir.mkdir("sys/class/drm/renderD128");
}

// Clients of two drivers: one amdgpu client open twice in pid 100 and
// inherited by pid 200, an i915 client in pid 200, and a non-DRM
// descriptor whose fdinfo would look like a client if it were read.
void sharedClients(const TempDir& dir) {
    descriptor(dir, 100, 3, "/dev/dri/renderD128", amdgpuClient);
    descriptor(dir, 100, 4, "/dev/dri/renderD128", amdgpuClient);
    descriptor(dir, 200, 5, "/dev/dri/renderD128", amdgpuClient);
    descriptor(dir, 200, 6, "/dev/dri/card1", i915Client);
    descriptor(dir, 300, 0, "/dev/null", amdgpuClient);
    dir.mkdir("proc/self");
    dir.write("proc/uptime", "1.0 1.0\n");
}

TEST(GPUPortLinux, AmdgpuCardStats) {
    TempDir dir;
    amdgpuCard(dir);
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), "/nonexistent/libnvidia-ml.so.1"}));
    EXPECT_EQ(sampler.stats(), (GPUStats{"AMD Radeon RX 7600", 37, 1073741824ull}));
}

TEST(GPUPortLinux, AmdgpuCardWithoutProductNameIsGPU) {
    TempDir dir;
    dir.write("sys/class/drm/card1/device/gpu_busy_percent", "5\n");
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), "/nonexistent"}));
    auto stats = sampler.stats();
    ASSERT_TRUE(stats);
    EXPECT_EQ(stats->name, "GPU");
    EXPECT_FALSE(stats->memoryInUseBytes);
}

TEST(GPUPortLinux, NoGPUIsAbsentWithTheLogLine) {
    ScopedLogCapture capture;
    TempDir dir;
    dir.mkdir("sys/class/drm/card0");  // a display controller without load figures
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), "/nonexistent"}));
    EXPECT_FALSE(sampler.stats());
    EXPECT_TRUE(sampler.processGPUTimes().empty());
    EXPECT_EQ(capture.sink().count("no IOAccelerator with PerformanceStatistics"), 2u);
    EXPECT_EQ(capture.messages().size(), 2u);  // NVML is not tried without the NVIDIA driver
}

TEST(GPUPortLinux, ACardThatLosesItsStatisticsIsSearchedAgain) {
    TempDir dir;
    amdgpuCard(dir);
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), "/nonexistent"}));
    ASSERT_TRUE(sampler.stats());
    dir.write("sys/class/drm/card0/device/gpu_busy_percent", "garbage\n");
    EXPECT_FALSE(sampler.stats());
    dir.write("sys/class/drm/card0/device/gpu_busy_percent", "12\n");
    EXPECT_EQ(sampler.stats()->utilizationPercent, 12);
}

TEST(DRMClientScan, SharedClientsOfAmdgpuAndI915CountOncePerClient) {
    TempDir dir;
    sharedClients(dir);
    auto times = DRMClientScan::processNanoseconds(dir.path());
    EXPECT_EQ(times, (std::map<int32_t, uint64_t>{{100, 2'000'000}, {200, 10'000}}));
}

TEST(DRMClientScan, RenderDeviceIsSeenInTheDRMClass) {
    TempDir dir;
    EXPECT_FALSE(DRMClientScan::hasRenderDevice(dir.path()));
    dir.mkdir("sys/class/drm/card0");
    EXPECT_FALSE(DRMClientScan::hasRenderDevice(dir.path()));
    dir.mkdir("sys/class/drm/renderD128");
    EXPECT_TRUE(DRMClientScan::hasRenderDevice(dir.path()));
}

TEST(GPUPortLinux, ProcessTimesComeFromFdinfoWhenARenderDeviceExists) {
    TempDir dir;
    amdgpuCard(dir);
    sharedClients(dir);
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), "/nonexistent"}));
    EXPECT_EQ(sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{100, 2'000'000}, {200, 10'000}}));
}

TEST(GPUPortLinux, WithoutARenderDeviceNoDescriptorIsWalked) {
    TempDir dir;
    dir.write("sys/class/drm/card0/device/gpu_busy_percent", "37\n");
    sharedClients(dir);
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), "/nonexistent"}));
    EXPECT_TRUE(sampler.processGPUTimes().empty());
}

struct FakeNVML {
    void* handle = dlopen(ORVANTINE_FAKE_NVML, RTLD_NOW | RTLD_LOCAL);
    FakeNVMLState* state = nullptr;
    FakeNVML() {
        if (handle != nullptr) {
            state = reinterpret_cast<FakeNVMLState* (*)()>(dlsym(handle, "fakeNVMLState"))();
            *state = FakeNVMLState{};
        }
    }
    ~FakeNVML() {
        if (handle != nullptr) dlclose(handle);
    }
};

TEST(GPUPortLinux, NVIDIADeviceThroughNVML) {
    FakeNVML nvml;
    ASSERT_NE(nvml.state, nullptr) << dlerror();
    nvml.state->gpuPercent = 55;
    nvml.state->memoryUsed = 3ull << 30;
    TempDir dir;
    dir.write("proc/driver/nvidia/version", "NVRM version: 550.54\n");
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), ORVANTINE_FAKE_NVML}));
    EXPECT_EQ(sampler.stats(), (GPUStats{"NVIDIA GeForce RTX 4070", 55, 3ull << 30}));
    EXPECT_EQ(nvml.state->initCalls, 1);
}

TEST(GPUPortLinux, NVMLProcessSamplesIntegrateIntoGPUTime) {
    FakeNVML nvml;
    ASSERT_NE(nvml.state, nullptr) << dlerror();
    nvml.state->sampleCount = 1;
    nvml.state->samples[0] = {500, 1'000'000, 50, 0, 0, 0};
    TempDir dir;
    dir.write("proc/driver/nvidia/version", "NVRM\n");
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), ORVANTINE_FAKE_NVML}));
    EXPECT_EQ(sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{500, 0}}));
    nvml.state->samples[0] = {500, 1'200'000, 50, 0, 0, 0};
    EXPECT_EQ(sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{500, 100'000'000}}));
    EXPECT_EQ(nvml.state->lastSeenAsked, 1'000'000u);
}

TEST(GPUPortLinux, MissingNVMLSwitchesOffWithOneLogLine) {
    ScopedLogCapture capture;
    TempDir dir;
    dir.write("proc/driver/nvidia/version", "NVRM\n");
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), dir.path() / "libnvidia-ml.so.1"}));
    EXPECT_FALSE(sampler.stats());
    EXPECT_FALSE(sampler.stats());
    EXPECT_EQ(capture.sink().count("NVML unavailable; NVIDIA GPUs are not sampled"), 1u);
    EXPECT_EQ(capture.sink().count("no IOAccelerator with PerformanceStatistics"), 2u);
}

TEST(GPUPortLinux, NVMLThatFailsToInitialiseIsOff) {
    ScopedLogCapture capture;
    FakeNVML nvml;
    ASSERT_NE(nvml.state, nullptr);
    nvml.state->initResult = 9;  // NVML_ERROR_DRIVER_NOT_LOADED
    TempDir dir;
    dir.write("proc/driver/nvidia/version", "NVRM\n");
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), ORVANTINE_FAKE_NVML}));
    EXPECT_FALSE(sampler.stats());
    EXPECT_EQ(capture.sink().count("NVML unavailable; NVIDIA GPUs are not sampled"), 1u);
}

}  // namespace
}  // namespace orv
