#include "core/StrainDetector.h"

#include <algorithm>

namespace orv {

namespace {

// The CPU has been strained for the whole minute: the points of the last
// 60 s reach back at least 55 s (a sampler's first points come late) and
// not one dips below the threshold. A NaN percentage is a dip.
bool cpuStrained(std::span<const StrainDetector::CPUPoint> history, Date now) {
    // Coverage the window needs: a little less than the window, since samples
    // are taken about once a second and never exactly on the boundary.
    constexpr double requiredCoverage = 55.0;
    std::optional<double> earliest;
    for (const auto& point : history) {
        double age = now.secondsSinceReferenceDate - point.at.secondsSinceReferenceDate;
        if (!(age <= StrainDetector::cpuWindow)) continue;  // older than the window (or NaN)
        if (!(point.percent >= StrainDetector::cpuThreshold)) return false;
        earliest = earliest ? std::min(*earliest, point.at.secondsSinceReferenceDate) : point.at.secondsSinceReferenceDate;
    }
    return earliest && now.secondsSinceReferenceDate - *earliest >= requiredCoverage;
}

}  // namespace

std::optional<StrainReason> StrainDetector::evaluate(std::span<const CPUPoint> cpuHistory, Date now,
                                                     bool memoryPressureHigh,
                                                     std::optional<double> startupDiskFreeFraction,
                                                     ThermalPressure thermal) {
    if (cpuStrained(cpuHistory, now)) return StrainReason::cpu;
    if (memoryPressureHigh) return StrainReason::memory;
    if (startupDiskFreeFraction && *startupDiskFreeFraction < diskFreeFraction) return StrainReason::disk;
    if (thermal == ThermalPressure::serious || thermal == ThermalPressure::critical) return StrainReason::thermal;
    return std::nullopt;
}

std::string_view StrainDetector::message(StrainReason reason) {
    // "above 85%" although exactly 85 already counts: the text is what the
    // user reads, the inclusive test is what the detector does.
    switch (reason) {
        case StrainReason::cpu: return "CPU has been above 85% for a minute";
        case StrainReason::memory: return "Memory pressure is high";
        case StrainReason::disk: return "The startup disk is almost full";
        case StrainReason::thermal: return "This Mac is running hot";
    }
    return {};
}

}  // namespace orv
