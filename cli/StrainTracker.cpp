#include "cli/StrainTracker.h"

#include <vector>

namespace orv::cli {

bool StrainTracker::memoryPressureHigh(const MemoryStats& memory) {
    return memory.pressure == MemoryPressure::warning || memory.pressure == MemoryPressure::critical;
}

std::optional<double> StrainTracker::startupDiskFreeFraction(const DiskStats& disk) {
    if (disk.volumes.empty() || disk.volumes.front().totalBytes == 0) return std::nullopt;
    const auto& root = disk.volumes.front();
    return double(root.freeBytes) / double(root.totalBytes);
}

std::optional<StrainReason> StrainTracker::observe(const Snapshot& snapshot) {
    if (snapshot.interval != Duration::zero()) history_.push_back({snapshot.at, snapshot.system.cpu.totalPercent});
    while (!history_.empty() &&
           snapshot.at.secondsSinceReferenceDate - history_.front().at.secondsSinceReferenceDate > keptSeconds) {
        history_.pop_front();
    }
    std::vector<StrainDetector::CPUPoint> points(history_.begin(), history_.end());
    return StrainDetector::evaluate(points, snapshot.at, memoryPressureHigh(snapshot.system.memory),
                                    startupDiskFreeFraction(snapshot.system.disk), snapshot.system.thermal);
}

}  // namespace orv::cli
