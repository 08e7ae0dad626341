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

TEST(DRMFdinfo, AmdgpuEnginesAreSummed) {
    auto usage = DRMClientUsage::decode(amdgpu);
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->driver, "amdgpu");
    EXPECT_EQ(usage->device, "0000:03:00.0");
    EXPECT_EQ(usage->clientID, 41u);
    EXPECT_EQ(usage->engineNanoseconds, 2'000'000u);
}

TEST(DRMFdinfo, I915EngineCapacityIsNotTime) {
    auto usage = DRMClientUsage::decode(i915);
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->engineNanoseconds, 10'000u);
}

TEST(DRMFdinfo, AnOrdinaryFileIsNotAClient) {
    EXPECT_FALSE(DRMClientUsage::decode("pos:\t0\nflags:\t0100002\nmnt_id:\t25\nino:\t77\n"));
    EXPECT_FALSE(DRMClientUsage::decode(""));
}

TEST(DRMFdinfo, GarbageEngineValuesAreLeftOut) {
    auto usage = DRMClientUsage::decode("drm-driver: x\ndrm-engine-gfx: lots ns\ndrm-engine-a: 5 ms\ndrm-engine-b: 3 ns\n");
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->engineNanoseconds, 3u);
    EXPECT_FALSE(usage->clientID);
}

TEST(DRMClientTally, ASharedClientCountsOnceForTheFirstProcess) {
    auto usage = *DRMClientUsage::decode(amdgpu);
    DRMClientTally tally;
    tally.add(100, usage);
    tally.add(100, usage);  // dup'ed descriptor
    tally.add(200, usage);  // inherited by a child
    EXPECT_EQ(tally.totals(), (std::map<int32_t, uint64_t>{{100, 2'000'000}}));
}

TEST(DRMClientTally, EqualClientIdsOnDifferentDevicesAreDifferentClients) {
    auto a = *DRMClientUsage::decode(amdgpu);
    auto b = *DRMClientUsage::decode(i915);
    b.clientID = a.clientID;
    DRMClientTally tally;
    tally.add(100, a);
    tally.add(100, b);
    EXPECT_EQ(tally.totals().at(100), 2'010'000u);
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
