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

TEST(GPUPortLinux, NoGPUIsAbsentAndSaysWhatItLookedForOnce) {
    ScopedLogCapture capture;
    TempDir dir;
    dir.mkdir("sys/class/drm/card0");  // a display controller without load figures
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), "/nonexistent"}));
    EXPECT_FALSE(sampler.stats());
    EXPECT_TRUE(sampler.processGPUTimes().empty());
    EXPECT_FALSE(sampler.stats());
    EXPECT_EQ(capture.sink().count("no GPU with a utilisation counter"), 1u);
    EXPECT_EQ(capture.messages().size(), 1u);  // NVML is not tried without the NVIDIA driver
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
    // amdgpu: the busier of gfx and compute; i915: render only.
    EXPECT_EQ(times, (std::map<int32_t, uint64_t>{{100, 1'500'000}, {200, 9'000}}));
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
    EXPECT_EQ(sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{100, 1'500'000}, {200, 9'000}}));
}

TEST(GPUPortLinux, OnlyClientsOfTheChosenCardCount) {
    TempDir dir;
    amdgpuCard(dir);
    dir.write("sys/class/drm/card0/device/uevent", "DRIVER=amdgpu\nPCI_CLASS=30000\nPCI_SLOT_NAME=0000:03:00.0\n");
    sharedClients(dir);  // pid 200's i915 client is the integrated GPU's
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), "/nonexistent"}));
    EXPECT_EQ(sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{100, 1'500'000}}));
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
    uint64_t now = 1'000'000;
    GPUPortLinuxOptions options{dir.path(), ORVANTINE_FAKE_NVML};
    options.unixMicroseconds = [&] { return now; };
    GPUSampler sampler(makeGPUPort(options));
    EXPECT_EQ(sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{500, 0}}));
    nvml.state->samples[0] = {500, 1'200'000, 50, 0, 0, 0};
    now = 1'250'000;
    EXPECT_EQ(sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{500, 100'000'000}}));
    EXPECT_EQ(nvml.state->lastSeenAsked, 1'000'000u);
}

TEST(GPUPortLinux, NVMLProcessBackFromAnIdleGapIsNotOverCounted) {
    FakeNVML nvml;
    ASSERT_NE(nvml.state, nullptr) << dlerror();
    nvml.state->sampleCount = 1;
    nvml.state->samples[0] = {500, 1'000'000, 50, 0, 0, 0};
    TempDir dir;
    dir.write("proc/driver/nvidia/version", "NVRM\n");
    uint64_t now = 1'000'000;
    GPUPortLinuxOptions options{dir.path(), ORVANTINE_FAKE_NVML};
    options.unixMicroseconds = [&] { return now; };
    GPUSampler sampler(makeGPUPort(options));
    sampler.processGPUTimes();
    nvml.state->sampleCount = 0;  // a minute of passes with the process idle
    for (now = 2'000'000; now <= 60'000'000; now += 1'000'000) sampler.processGPUTimes();
    nvml.state->sampleCount = 1;
    nvml.state->samples[0] = {500, 60'500'000, 50, 0, 0, 0};
    now = 61'000'000;
    // 0.5 s at 50 % since the previous pass, not 59.5 s since its last sample.
    EXPECT_EQ(sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{500, 250'000'000}}));
}

TEST(GPUPortLinux, ACardNVMLServesIsNotWalkedForFdinfo) {
    FakeNVML nvml;
    ASSERT_NE(nvml.state, nullptr) << dlerror();
    TempDir dir;
    dir.write("proc/driver/nvidia/version", "NVRM\n");
    dir.mkdir("sys/class/drm/card0/device");
    dir.mkdir("sys/class/drm/renderD128");
    descriptor(dir, 100, 3, "/dev/dri/renderD128",
               "drm-driver:\tnvidia-drm\ndrm-client-id:\t3\ndrm-engine-gfx:\t5000 ns\n");
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), ORVANTINE_FAKE_NVML}));
    ASSERT_TRUE(sampler.stats());
    EXPECT_TRUE(sampler.processGPUTimes().empty());
}

std::string i915Render(uint64_t id, uint64_t renderNs, const std::string& pdev = "0000:00:02.0") {
    return "pos:\t0\nflags:\t02100002\ndrm-driver:\ti915\ndrm-pdev:\t" + pdev + "\ndrm-client-id:\t" +
           std::to_string(id) + "\ndrm-engine-render:\t" + std::to_string(renderNs) +
           " ns\ndrm-engine-copy:\t0 ns\ndrm-engine-video:\t999999999 ns\n";
}

void intelCard(const TempDir& dir, const std::string& driver) {
    dir.write("sys/class/drm/card1/device/uevent", "DRIVER=" + driver + "\nPCI_SLOT_NAME=0000:00:02.0\n");
    dir.mkdir("sys/class/drm/card1-eDP-1");
    dir.mkdir("sys/class/drm/renderD128");
}

TEST(GPUPortLinux, AnI915CardsLoadIsItsClientsRenderTimeGrowth) {
    TempDir dir;
    intelCard(dir, "i915");
    descriptor(dir, 100, 3, "/dev/dri/renderD128", i915Render(1, 10'000'000));
    descriptor(dir, 200, 4, "/dev/dri/card1", i915Render(2, 0));
    descriptor(dir, 300, 5, "/dev/dri/renderD129", i915Render(1, 900'000'000, "0000:03:00.0"));
    int64_t now = 5'000'000'000;
    GPUPortLinuxOptions options{dir.path(), "/nonexistent"};
    options.monotonicNanoseconds = [&] { return now; };
    GPUSampler sampler(makeGPUPort(options));
    auto first = sampler.stats();
    ASSERT_TRUE(first);
    EXPECT_EQ(*first, (GPUStats{"Intel Graphics", 0, {}}));
    dir.write("proc/100/fdinfo/3", i915Render(1, 60'000'000));
    dir.write("proc/200/fdinfo/4", i915Render(2, 20'000'000));
    dir.write("proc/300/fdinfo/5", i915Render(1, 990'000'000, "0000:03:00.0"));
    now += 100'000'000;
    EXPECT_DOUBLE_EQ(sampler.stats()->utilizationPercent, 70.0);
    EXPECT_EQ(sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{100, 60'000'000}, {200, 20'000'000}}));
}

TEST(GPUPortLinux, AnXeCardsLoadIsItsClientsShareOfRenderCycles) {
    TempDir dir;
    intelCard(dir, "xe");
    auto xe = [](uint64_t busy, uint64_t total) {
        return "drm-driver:\txe\ndrm-pdev:\t0000:00:02.0\ndrm-client-id:\t9\ndrm-cycles-rcs:\t" +
               std::to_string(busy) + "\ndrm-total-cycles-rcs:\t" + std::to_string(total) + "\n";
    };
    descriptor(dir, 100, 3, "/dev/dri/renderD128", xe(1000, 100'000));
    int64_t now = 1'000'000'000;
    GPUPortLinuxOptions options{dir.path(), "/nonexistent"};
    options.monotonicNanoseconds = [&] { return now; };
    GPUSampler sampler(makeGPUPort(options));
    ASSERT_TRUE(sampler.stats());
    dir.write("proc/100/fdinfo/3", xe(46'000, 200'000));
    now += 500'000'000;
    EXPECT_DOUBLE_EQ(sampler.stats()->utilizationPercent, 45.0);
    // 45 % of half a second.
    EXPECT_EQ(sampler.processGPUTimes(), (std::map<int32_t, uint64_t>{{100, 225'000'000}}));
}

TEST(GPUPortLinux, AnAmdgpuCardWinsOverAnIntelOne) {
    TempDir dir;
    intelCard(dir, "i915");
    amdgpuCard(dir);
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), "/nonexistent"}));
    EXPECT_EQ(sampler.stats()->name, "AMD Radeon RX 7600");
}

TEST(GPUPortLinux, MissingNVMLSwitchesOffWithOneLogLine) {
    ScopedLogCapture capture;
    TempDir dir;
    dir.write("proc/driver/nvidia/version", "NVRM\n");
    GPUSampler sampler(makeGPUPort(GPUPortLinuxOptions{dir.path(), dir.path() / "libnvidia-ml.so.1"}));
    EXPECT_FALSE(sampler.stats());
    EXPECT_FALSE(sampler.stats());
    EXPECT_EQ(capture.sink().count("NVML unavailable; NVIDIA GPUs are not sampled"), 1u);
    EXPECT_EQ(capture.sink().count("no GPU with a utilisation counter"), 1u);
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
