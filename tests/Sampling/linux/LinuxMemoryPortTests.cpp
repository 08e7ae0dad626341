#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <limits>
#include <map>
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

TEST(LinuxMemoryPort, ZramDevicesAreCompressedMemory) {
    test::TempDir root;
    root.write("proc/meminfo", meminfo(500000) + "Zswap: 1024 kB\n");
    root.write("sys/block/zram0/mm_stat", "8192000 2048000 2097152 0 2097152 0 0 0 0\n");
    root.write("sys/block/zram1/mm_stat", "0 0 4096 0 4096 0 0 0 0\n");
    root.write("sys/block/zram2/mm_stat", "garbage\n");
    root.write("sys/block/sda/mm_stat", "0 0 999999999 0 0 0 0 0 0\n");
    auto port = makeMemoryPort(root.path());
    const uint64_t page = port->pageSize();
    EXPECT_EQ(port->readPageCounts().compressorPages, (1024ull * 1024 + 2097152 + 4096) / page);
}

// The figures against the kernel's own lines, read just before and just
// after the sample: the categories add up to MemTotal, and "used" is what
// htop calls used, each within 1 % of memory.
TEST(LinuxMemoryPort, LiveFiguresAgreeWithFreeAndHtop) {
    auto read = [] {
        std::ifstream file("/proc/meminfo");
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    };
    auto lines = [](const std::string& text) {
        std::map<std::string, uint64_t> values;
        std::istringstream in(text);
        std::string key;
        uint64_t value = 0;
        while (in >> key >> value) {
            values[key.substr(0, key.size() - 1)] = value * 1024;
            in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        }
        return values;
    };
    auto before = lines(read());
    MemorySampler sampler(makeMemoryPort("/"));
    auto stats = sampler.sampleNow();
    auto after = lines(read());
    const double total = double(before["MemTotal"]);
    const double slack = total * 0.01;
    EXPECT_EQ(stats.totalBytes, before["MemTotal"]);
    for (auto& m : {before, after}) {
        auto v = m;
        // htop: total − free − buffers − (cached − shmem) − reclaimable slab.
        const double htopUsed = double(v["MemTotal"]) - double(v["MemFree"]) - double(v["Buffers"]) -
                                (double(v["Cached"]) - double(v["Shmem"])) - double(v["SReclaimable"]);
        const double free = double(v["MemFree"]);
        SCOPED_TRACE(::testing::Message() << "htop used " << htopUsed << ", ours " << stats.usedBytes);
        EXPECT_NEAR(double(stats.usedBytes), htopUsed, slack);
        EXPECT_NEAR(double(stats.usedBytes + stats.cachedFilesBytes) + free, total, slack);
        // free(1)'s buff/cache is our cached files plus Shmem.
        EXPECT_NEAR(double(stats.cachedFilesBytes) + double(v["Shmem"]),
                    double(v["Buffers"] + v["Cached"] + v["SReclaimable"]), slack);
    }
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
