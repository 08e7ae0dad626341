#include <gtest/gtest.h>

#include <cerrno>
#include <optional>

#include "Sampling/CPUPort.h"
#include "Sampling/CPUSampler.h"
#include "core/SamplingError.h"
#include "support/TempDir.h"
#include "support/ThrownSamplingError.h"

namespace orv {
namespace {

const char* const sixCoreStat =
    "cpu  60 0 60 600 0 0 0 0 0 0\n"
    "cpu0 10 0 10 100 0 0 0 0 0 0\ncpu1 10 0 10 100 0 0 0 0 0 0\ncpu2 10 0 10 100 0 0 0 0 0 0\n"
    "cpu3 10 0 10 100 0 0 0 0 0 0\ncpu4 10 0 10 100 0 0 0 0 0 0\ncpu5 10 0 10 100 0 0 0 0 0 0\n"
    "intr 0\n";

using test::errorOf;

TEST(LinuxCPUPort, HybridListsGiveTwoLevels) {
    test::TempDir root;
    root.write("proc/stat", sixCoreStat);
    root.write("sys/devices/cpu_core/cpus", "0-3\n");
    root.write("sys/devices/cpu_atom/cpus", "4-5\n");
    auto topology = makeCPUPort(root.path())->readTopology();
    ASSERT_EQ(topology.levels.size(), 2u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"Performance", 0, {0, 1, 2, 3}}));
    EXPECT_EQ(topology.levels[1], (CPUTopology::Level{"Efficiency", 1, {4, 5}}));
}

TEST(LinuxCPUPort, CapacitiesGroupTheCores) {
    test::TempDir root;
    root.write("proc/stat", sixCoreStat);
    for (int core = 0; core < 6; ++core) {
        root.write("sys/devices/system/cpu/cpu" + std::to_string(core) + "/cpu_capacity", core < 2 ? "1024\n" : "512\n");
    }
    auto topology = makeCPUPort(root.path())->readTopology();
    ASSERT_EQ(topology.levels.size(), 2u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"Performance", 0, {0, 1}}));
    EXPECT_EQ(topology.levels[1], (CPUTopology::Level{"Efficiency", 1, {2, 3, 4, 5}}));
}

TEST(LinuxCPUPort, TwoPlainCoresAreOneLevel) {
    test::TempDir root;
    root.write("proc/stat", "cpu 2 0 2 20\ncpu0 1 0 1 10\ncpu1 1 0 1 10\n");
    auto topology = makeCPUPort(root.path())->readTopology();
    ASSERT_EQ(topology.levels.size(), 1u);
    EXPECT_EQ(topology.levels[0], (CPUTopology::Level{"CPU", 0, {0, 1}}));
}

TEST(LinuxCPUPort, OfflineCoreIsTranslatedToPositions) {
    test::TempDir root;
    root.write("proc/stat", "cpu 0 0 0 0\ncpu0 1 0 1 10\ncpu1 1 0 1 10\ncpu3 1 0 1 10\n");
    root.write("sys/devices/cpu_core/cpus", "0-1\n");
    root.write("sys/devices/cpu_atom/cpus", "2-3\n");
    auto port = makeCPUPort(root.path());
    auto topology = port->readTopology();
    EXPECT_EQ(topology.levels[0].coreIndexes, (std::vector<int64_t>{0, 1}));
    EXPECT_EQ(topology.levels[1].coreIndexes, (std::vector<int64_t>{2}));
    EXPECT_EQ(port->readTicks().size(), 3u);
}

TEST(LinuxCPUPort, ReadsTicksInCoreOrderAndRereadsTheKeptFile) {
    test::TempDir root;
    root.write("proc/stat", "cpu 0 0 0 0\ncpu0 1 2 3 4 5 6 7 8 9 10\n");
    auto port = makeCPUPort(root.path());
    EXPECT_EQ(port->readTicks(), (std::vector<CPUTicks>{{1, 16, 4 + 5 + 8, 2}}));
    root.write("proc/stat", "cpu 0 0 0 0\ncpu0 11 2 3 4 5 6 7 8 9 10\n");
    EXPECT_EQ(port->readTicks()[0].user, 11u);
}

TEST(LinuxCPUPort, StealIsTimeTheCoreWasNotBusy) {
    test::TempDir root;
    // user 10, system 10, idle 60, steal 20 (of a 100-tick interval).
    root.write("proc/stat", "cpu 0 0 0 0\ncpu0 10 0 10 60 0 0 0 20 0 0\n");
    auto port = makeCPUPort(root.path());
    EXPECT_EQ(port->readTicks(), (std::vector<CPUTicks>{{10, 10, 80, 0}}));
    CPUSampler sampler(makeCPUPort(root.path()));
    EXPECT_DOUBLE_EQ(sampler.sampleNow().totalPercent, 20.0);
}

TEST(LinuxCPUPort, IowaitSteppingBackDoesNotZeroTheCore) {
    test::TempDir root;
    root.write("proc/stat", "cpu 0 0 0 0\ncpu0 1000 0 0 5000 300 0 0 0 0 0\n");
    CPUSampler sampler(makeCPUPort(root.path()));
    sampler.sampleNow();
    // 50 ticks busy, idle +51, iowait −1.
    root.write("proc/stat", "cpu 0 0 0 0\ncpu0 1050 0 0 5051 299 0 0 0 0 0\n");
    EXPECT_DOUBLE_EQ(sampler.sampleNow().totalPercent, 50.0);
}

TEST(LinuxCPUPort, ClustersFollowACoreGoingOffline) {
    test::TempDir root;
    root.write("proc/stat", "cpu 0 0 0 0\ncpu0 0 0 0 100\ncpu1 0 0 0 100\ncpu2 0 0 0 100\ncpu3 0 0 0 100\n");
    root.write("sys/devices/cpu_core/cpus", "0-1\n");
    root.write("sys/devices/cpu_atom/cpus", "2-3\n");
    CPUSampler sampler(makeCPUPort(root.path()));
    ASSERT_EQ(sampler.topology().levels.size(), 2u);
    EXPECT_EQ(sampler.topology().levels[1].coreIndexes, (std::vector<int64_t>{2, 3}));
    sampler.sampleNow();

    // cpu1 goes offline: the efficiency cores are now at positions 1 and 2,
    // and cpu2 and cpu3 are measured against their own previous ticks.
    root.write("proc/stat", "cpu 0 0 0 0\ncpu0 0 0 0 200\ncpu2 100 0 0 100\ncpu3 50 0 0 150\n");
    auto stats = sampler.sampleNow();
    EXPECT_EQ(sampler.topology().levels[0].coreIndexes, (std::vector<int64_t>{0}));
    EXPECT_EQ(sampler.topology().levels[1].coreIndexes, (std::vector<int64_t>{1, 2}));
    EXPECT_EQ(stats.perCorePercent, (std::vector<double>{0, 100, 50}));

    // and comes back: it counts from now.
    root.write("proc/stat",
               "cpu 0 0 0 0\ncpu0 0 0 0 300\ncpu1 500 0 0 100\ncpu2 200 0 0 100\ncpu3 50 0 0 250\n");
    stats = sampler.sampleNow();
    EXPECT_EQ(sampler.topology().levels[1].coreIndexes, (std::vector<int64_t>{2, 3}));
    EXPECT_EQ(stats.perCorePercent, (std::vector<double>{0, 0, 100, 0}));
}

TEST(LinuxCPUPort, GarbageStatThrowsASamplingError) {
    test::TempDir root;
    root.write("proc/stat", "cpu0 what\n");
    auto port = makeCPUPort(root.path());
    EXPECT_THROW(port->readTicks(), SamplingError);
}

TEST(LinuxCPUPort, MissingStatThrowsAndTopologyStillComesBack) {
    test::TempDir root;
    auto port = makeCPUPort(root.path());
    EXPECT_THROW(port->readTicks(), SamplingError);
    auto topology = port->readTopology();
    ASSERT_EQ(topology.levels.size(), 1u);
    EXPECT_TRUE(topology.levels[0].coreIndexes.empty());
}

TEST(LinuxCPUPort, MissingStatIsAFileReadErrorNamingThePath) {
    test::TempDir root;
    auto port = makeCPUPort(root.path());
    EXPECT_EQ(errorOf([&] { port->readTicks(); }), SamplingError::fileRead((root.path() / "proc/stat").string(), ENOENT));
}

TEST(LinuxCPUPort, UndecodableStatIsAFileReadErrorOfABadMessage) {
    test::TempDir root;
    root.write("proc/stat", "cpu0 what\n");
    auto port = makeCPUPort(root.path());
    EXPECT_EQ(errorOf([&] { port->readTicks(); }), SamplingError::fileRead((root.path() / "proc/stat").string(), EBADMSG));
}

}  // namespace
}  // namespace orv
