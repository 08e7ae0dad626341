#include <gtest/gtest.h>

#include "Sampling/DRMFdinfo.h"
#include "Sampling/GPUTimeIntegrator.h"

namespace orv {
namespace {

constexpr const char* amdgpu =
    "pos:\t0\nflags:\t02100002\nmnt_id:\t24\nino:\t1035\n"
    "drm-driver:\tamdgpu\ndrm-client-id:\t41\ndrm-pdev:\t0000:03:00.0\npasid:\t32779\n"
    "drm-memory-vram:\t12288 KiB\ndrm-memory-gtt:\t2048 KiB\n"
    "drm-engine-gfx:\t1500000 ns\ndrm-engine-compute:\t500000 ns\ndrm-engine-dec:\t0 ns\n";

constexpr const char* i915 =
    "pos:\t0\nflags:\t02100002\n"
    "drm-driver:\ti915\ndrm-pdev:\t0000:00:02.0\ndrm-client-id:\t7\n"
    "drm-engine-render:\t9000 ns\ndrm-engine-copy:\t1000 ns\ndrm-engine-video:\t0 ns\n"
    "drm-engine-capacity-video:\t2\ndrm-engine-video-enhance:\t0 ns\n";

constexpr const char* xe =
    "pos:\t0\nflags:\t0100002\ndrm-driver:\txe\ndrm-client-id:\t12\ndrm-pdev:\t0000:00:02.0\n"
    "drm-total-resident:\t4096\ndrm-cycles-rcs:\t28257900\ndrm-total-cycles-rcs:\t7655183225\n"
    "drm-cycles-bcs:\t0\ndrm-total-cycles-bcs:\t7655183225\ndrm-engine-capacity-ccs:\t4\n";

TEST(DRMFdinfo, AmdgpuCountsItsBusiestWorkEngineNotTheSum) {
    auto usage = DRMClientUsage::decode(amdgpu);
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->driver, "amdgpu");
    EXPECT_EQ(usage->device, "0000:03:00.0");
    EXPECT_EQ(usage->clientID, 41u);
    EXPECT_EQ(usage->engineNanoseconds.at("compute"), 500'000u);
    // gfx 1.5 ms and compute 0.5 ms in the same wall time: 1.5 ms busy, not 2.
    EXPECT_EQ(usage->busyNanoseconds(), 1'500'000u);
}

TEST(DRMFdinfo, I915CountsRenderAndNotCopyOrVideoAndCapacityIsNotTime) {
    auto usage = DRMClientUsage::decode(i915);
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->busyNanoseconds(), 9'000u);
    EXPECT_FALSE(usage->engineNanoseconds.contains("capacity-video"));
    EXPECT_EQ(usage->engineNanoseconds.at("video-enhance"), 0u);
}

TEST(DRMFdinfo, XeCyclesAreReadBesideTheirClock) {
    auto usage = DRMClientUsage::decode(xe);
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->engineCycles.at("rcs"), (DRMClientUsage::Cycles{28'257'900, 7'655'183'225}));
    EXPECT_EQ(usage->engineCycles.at("bcs"), (DRMClientUsage::Cycles{0, 7'655'183'225}));
    EXPECT_FALSE(usage->engineCycles.contains("ccs"));
    EXPECT_EQ(usage->busyNanoseconds(), 0u);
}

TEST(DRMFdinfo, ADriverWithoutWorkEngineNamesCountsItsBusiestEngine) {
    auto usage = DRMClientUsage::decode(
        "drm-driver:\tpanfrost\ndrm-engine-fragment:\t7000 ns\ndrm-engine-vertex-tiler:\t2000 ns\n");
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->busyNanoseconds(), 7'000u);
}

TEST(DRMFdinfo, AnOrdinaryFileIsNotAClient) {
    EXPECT_FALSE(DRMClientUsage::decode("pos:\t0\nflags:\t0100002\nmnt_id:\t25\nino:\t77\n"));
    EXPECT_FALSE(DRMClientUsage::decode(""));
}

TEST(DRMFdinfo, GarbageEngineValuesAreLeftOut) {
    auto usage = DRMClientUsage::decode("drm-driver: x\ndrm-engine-gfx: lots ns\ndrm-engine-a: 5 ms\ndrm-engine-b: 3 ns\n");
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->busyNanoseconds(), 3u);
    EXPECT_EQ(usage->engineNanoseconds.size(), 1u);
    EXPECT_FALSE(usage->clientID);
}

TEST(DRMClientTally, ASharedClientCountsOnceForTheFirstProcess) {
    auto usage = *DRMClientUsage::decode(amdgpu);
    DRMClientTally tally;
    tally.add(100, usage);
    tally.add(100, usage);  // dup'ed descriptor
    tally.add(200, usage);  // inherited by a child
    EXPECT_EQ(tally.totals(), (std::map<int32_t, uint64_t>{{100, 1'500'000}}));
}

TEST(DRMClientTally, WithADeviceClientsOfOtherGPUsAreLeftOut) {
    DRMClientTally tally(std::string("0000:03:00.0"));
    EXPECT_TRUE(tally.add(100, *DRMClientUsage::decode(amdgpu)));
    EXPECT_FALSE(tally.add(200, *DRMClientUsage::decode(i915)));
    EXPECT_EQ(tally.totals(), (std::map<int32_t, uint64_t>{{100, 1'500'000}}));
}

TEST(DRMClientTally, EqualClientIdsOnDifferentDevicesAreDifferentClients) {
    auto a = *DRMClientUsage::decode(amdgpu);
    auto b = *DRMClientUsage::decode(i915);
    b.clientID = a.clientID;
    DRMClientTally tally;
    tally.add(100, a);
    tally.add(100, b);
    EXPECT_EQ(tally.totals().at(100), 1'509'000u);
}

TEST(GPUTimeIntegrator, SharesIntegrateOverTheTimeBetweenSamples) {
    GPUTimeIntegrator integrator;
    std::vector<GPUTimeIntegrator::Sample> first{{10, 1'000'000, 50}};
    integrator.add(first);
    EXPECT_EQ(integrator.nanoseconds().at(10), 0u);  // starts the clock only
    std::vector<GPUTimeIntegrator::Sample> second{{10, 1'200'000, 50}, {11, 1'100'000, 100}};
    integrator.add(second);
    // pid 10: 200 ms at 50 %; pid 11: 100 ms (since the last sample seen) at 100 %.
    EXPECT_EQ(integrator.nanoseconds().at(10), 100'000'000u);
    EXPECT_EQ(integrator.nanoseconds().at(11), 100'000'000u);
    EXPECT_EQ(integrator.lastSeen(), 1'200'000u);
}

TEST(GPUTimeIntegrator, AProcessBackFromAnIdleGapCountsOnlySinceThePreviousQuery) {
    GPUTimeIntegrator integrator;
    std::vector<GPUTimeIntegrator::Sample> first{{10, 1'000'000, 50}};
    integrator.add(first, 1'000'000);
    // Queries every second find nothing for a minute: the GPU sat idle.
    for (uint64_t second = 2; second <= 60; ++second) integrator.add({}, second * 1'000'000);
    std::vector<GPUTimeIntegrator::Sample> back{{10, 60'500'000, 50}};
    integrator.add(back, 61'000'000);
    // Half a second at 50 %, not the whole minute since its last sample.
    EXPECT_EQ(integrator.nanoseconds().at(10), 250'000'000u);
}

TEST(GPUTimeIntegrator, ANewProcessCountsFromThePreviousQuery) {
    GPUTimeIntegrator integrator;
    std::vector<GPUTimeIntegrator::Sample> first{{10, 1'000'000, 50}};
    integrator.add(first, 1'000'000);
    integrator.add({}, 5'000'000);
    std::vector<GPUTimeIntegrator::Sample> later{{11, 5'100'000, 100}};
    integrator.add(later, 6'000'000);
    EXPECT_EQ(integrator.nanoseconds().at(11), 100'000'000u);
}

TEST(GPUTimeIntegrator, StaleSamplesAreIgnored) {
    GPUTimeIntegrator integrator;
    std::vector<GPUTimeIntegrator::Sample> first{{10, 1'000'000, 50}};
    integrator.add(first);
    integrator.add(first);
    std::vector<GPUTimeIntegrator::Sample> older{{10, 900'000, 100}};
    integrator.add(older);
    EXPECT_EQ(integrator.nanoseconds().at(10), 0u);
}

}  // namespace
}  // namespace orv
