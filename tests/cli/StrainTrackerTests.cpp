// The command's side of strain: the kept CPU minute, the memory flag, the
// startup disk, and the message in `snapshot` and `top`.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/SnapshotView.h"
#include "cli/StrainTracker.h"
#include "cli/TopFrame.h"

namespace orv::cli {
namespace {

Snapshot at(double seconds, double cpu) {
    Snapshot s;
    s.at = Date{1000 + seconds};
    s.interval = Duration::seconds(1);
    s.system.cpu.totalPercent = cpu;
    return s;
}

TEST(StrainTracker, AMinuteOfBusyCPUIsStrain) {
    StrainTracker tracker;
    for (int i = 0; i < 55; ++i) EXPECT_EQ(tracker.observe(at(i, 95)), std::nullopt) << i;
    EXPECT_EQ(tracker.observe(at(55, 95)), StrainReason::cpu);
}

TEST(StrainTracker, KeepsAboutAMinuteOfPoints) {
    StrainTracker tracker;
    for (int i = 0; i < 600; ++i) tracker.observe(at(i, 10));
    EXPECT_GE(tracker.pointCount(), 60u);
    EXPECT_LE(tracker.pointCount(), 66u);
    // A dip more than a minute ago no longer counts.
    for (int i = 600; i < 660; ++i) tracker.observe(at(i, 99));
    EXPECT_EQ(tracker.observe(at(660, 99)), StrainReason::cpu);
}

TEST(StrainTracker, ABaselineSnapshotAddsNoPoint) {
    StrainTracker tracker;
    Snapshot first = at(0, 0);
    first.interval = Duration::zero();
    tracker.observe(first);
    EXPECT_EQ(tracker.pointCount(), 0u);
}

TEST(StrainTracker, MemoryPressureFromWarning) {
    MemoryStats memory;
    memory.pressure = MemoryPressure::normal;
    EXPECT_FALSE(StrainTracker::memoryPressureHigh(memory));
    memory.pressure = MemoryPressure::warning;
    EXPECT_TRUE(StrainTracker::memoryPressureHigh(memory));
    memory.pressure = MemoryPressure::critical;
    EXPECT_TRUE(StrainTracker::memoryPressureHigh(memory));
    Snapshot s = at(0, 1);
    s.system.memory = memory;
    EXPECT_EQ(StrainTracker().observe(s), StrainReason::memory);
}

TEST(StrainTracker, StartupDiskIsTheFirstVolume) {
    DiskStats disk;
    EXPECT_EQ(StrainTracker::startupDiskFreeFraction(disk), std::nullopt);
    disk.volumes = {{"root", "/", 1000, 40}, {"data", "data", 1000, 900}};
    EXPECT_EQ(StrainTracker::startupDiskFreeFraction(disk), 0.04);
    disk.volumes.front().totalBytes = 0;
    EXPECT_EQ(StrainTracker::startupDiskFreeFraction(disk), std::nullopt);
}

TEST(StrainTracker, SnapshotTextShowsTheMessage) {
    std::ostringstream quiet, strained;
    printSnapshot(at(0, 1), 0, quiet);
    printSnapshot(at(0, 1), 0, strained, StrainReason::disk);
    EXPECT_EQ(quiet.str().find("Strain"), std::string::npos);
    EXPECT_NE(strained.str().find("Strain   The startup disk is almost full\n"), std::string::npos) << strained.str();
}

TEST(StrainTracker, TopShowsTheMessage) {
    auto lines = topFrame(at(0, 99), TopState{}, TopLayout{200, 20, false}, TopContext{.strain = StrainReason::cpu});
    bool found = false;
    for (const auto& line : lines) found = found || line.find("Strain: CPU has been above 85% for a minute") != std::string::npos;
    EXPECT_TRUE(found);
}

}  // namespace
}  // namespace orv::cli
