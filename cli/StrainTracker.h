#pragma once

#include <deque>
#include <optional>

#include "core/Snapshot.h"
#include "core/StrainDetector.h"

namespace orv::cli {

// Keeps what the strain detector needs across a command's snapshots: the
// last minute (and a little more) of total CPU points. The memory flag is
// the kernel's pressure at `warning` or worse; the startup disk is the root
// volume, which the disk sampler lists first.
class StrainTracker {
public:
    // How much CPU history is kept: the detector's window and a margin for
    // a late sample.
    static constexpr double keptSeconds = StrainDetector::cpuWindow + 5;

    // Adds the snapshot's CPU point and judges it. A snapshot without a
    // baseline (no interval) has no CPU figure yet and adds no point.
    std::optional<StrainReason> observe(const Snapshot& snapshot);

    static bool memoryPressureHigh(const MemoryStats& memory);
    // Free ÷ total bytes of the root volume; absent when there is none or
    // its size is unknown.
    static std::optional<double> startupDiskFreeFraction(const DiskStats& disk);

    size_t pointCount() const { return history_.size(); }

private:
    std::deque<StrainDetector::CPUPoint> history_;
};

}  // namespace orv::cli
