#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <optional>
#include <sstream>

#include "Sampling/MemoryPort.h"
#include "Sampling/MemorySampler.h"
#include "core/SamplingError.h"
#include "support/TempDir.h"
#include "support/ThrownSamplingError.h"

namespace orv {
namespace {

std::string meminfo(uint64_t availableKB) {
    return "MemTotal:       1000000 kB\nMemAvailable:   " + std::to_string(availableKB) +
           " kB\nAnonPages:       40960 kB\nShmem: 0 kB\nActive(file): 4096 kB\nInactive(file): 0 kB\n"
           "SwapTotal: 8192 kB\nSwapFree: 4096 kB\n";
}

std::string stall(double some, double full) {
    std::ostringstream text;
    text << "some avg10=" << some << " avg60=0.00 avg300=0.00 total=1\n"
         << "full avg10=" << full << " avg60=0.00 avg300=0.00 total=1\n";
    return text.str();
}

using test::errorOf;

MemoryPressure pressureOf(const test::TempDir& root) {
    auto port = makeMemoryPort(root.path());
    port->readPageCounts();
    return port->readPressure();
}

TEST(LinuxMemoryPort, ReadsPagesSwapAndLevelFromMeminfo) {
    test::TempDir root;
    root.write("proc/meminfo", meminfo(250000));
    auto port = makeMemoryPort(root.path());
    EXPECT_EQ(port->physicalMemory().value(), 1000000ull * 1024);
    auto pages = port->readPageCounts();
    EXPECT_EQ(pages.internalPages, 40960ull * 1024 / port->pageSize());
    EXPECT_EQ(port->readSwapUsed().value(), 4096ull * 1024);
    EXPECT_EQ(port->readAvailableLevel(), 25);
}

TEST(LinuxMemoryPort, NormalPressure) {
    test::TempDir root;
    root.write("proc/meminfo", meminfo(500000));
    root.write("proc/pressure/memory", stall(0.5, 0));
    EXPECT_EQ(pressureOf(root), MemoryPressure::normal);
}

TEST(LinuxMemoryPort, WarningPressureFromSomeStall) {
    test::TempDir root;
    root.write("proc/meminfo", meminfo(500000));
    root.write("proc/pressure/memory", stall(10, 0));
    EXPECT_EQ(pressureOf(root), MemoryPressure::warning);
}

TEST(LinuxMemoryPort, WarningPressureFromFullStall) {
    test::TempDir root;
    root.write("proc/meminfo", meminfo(500000));
    root.write("proc/pressure/memory", stall(5, 2));
    EXPECT_EQ(pressureOf(root), MemoryPressure::warning);
}

TEST(LinuxMemoryPort, CriticalPressureFromFullStall) {
    test::TempDir root;
    root.write("proc/meminfo", meminfo(500000));
    root.write("proc/pressure/memory", stall(40, 10));
    EXPECT_EQ(pressureOf(root), MemoryPressure::critical);
}

TEST(LinuxMemoryPort, WithoutPressureFileLowAvailabilityIsWarning) {
    test::TempDir root;
    root.write("proc/meminfo", meminfo(100000));
    EXPECT_EQ(pressureOf(root), MemoryPressure::warning);
}

TEST(LinuxMemoryPort, WithoutPressureFileVeryLowAvailabilityIsCritical) {
    test::TempDir root;
    root.write("proc/meminfo", meminfo(40000));
    EXPECT_EQ(pressureOf(root), MemoryPressure::critical);
}

TEST(LinuxMemoryPort, QuietStallButLowAvailabilityIsCritical) {
    test::TempDir root;
    root.write("proc/meminfo", meminfo(40000));
    root.write("proc/pressure/memory", stall(0, 0));
    EXPECT_EQ(pressureOf(root), MemoryPressure::critical);
}

TEST(LinuxMemoryPort, GarbageMeminfoThrows) {
    test::TempDir root;
    root.write("proc/meminfo", "MemTotal: ??\n");
    auto port = makeMemoryPort(root.path());
    EXPECT_THROW(port->readPageCounts(), SamplingError);
    EXPECT_THROW(port->physicalMemory().value(), SamplingError);
}

TEST(LinuxMemoryPort, MissingMeminfoMakesASamplerThatStillConstructs) {
    test::TempDir root;
    MemorySampler sampler(makeMemoryPort(root.path()));
    EXPECT_GT(sampler.totalBytes(), 0u);  // the process's own figure
    EXPECT_THROW(sampler.sampleNow(), SamplingError);
}

TEST(LinuxMemoryPort, MissingMeminfoIsAFileReadErrorNamingThePath) {
    test::TempDir root;
    auto port = makeMemoryPort(root.path());
    const auto expected = SamplingError::fileRead((root.path() / "proc/meminfo").string(), ENOENT);
    EXPECT_EQ(errorOf([&] { port->readPageCounts(); }), expected);
    EXPECT_EQ(port->physicalMemory().error(), expected);
}

TEST(LinuxMemoryPort, UndecodableMeminfoIsAFileReadErrorOfABadMessage) {
    test::TempDir root;
    root.write("proc/meminfo", "MemTotal: ??\n");
    auto port = makeMemoryPort(root.path());
    EXPECT_EQ(errorOf([&] { port->readPageCounts(); }),
              SamplingError::fileRead((root.path() / "proc/meminfo").string(), EBADMSG));
}

TEST(LinuxMemoryPort, LiveTotalMatchesProcMeminfoToTheByte) {
    std::ifstream file("/proc/meminfo");
    std::string key;
    uint64_t kilobytes = 0;
    file >> key >> kilobytes;
    ASSERT_EQ(key, "MemTotal:");
    MemorySampler sampler(makeMemoryPort("/"));
    EXPECT_EQ(sampler.sampleNow().totalBytes, kilobytes * 1024);
}

}  // namespace
}  // namespace orv
