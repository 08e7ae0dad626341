#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "core/Date.h"
#include "core/StrainReason.h"
#include "core/ThermalPressure.h"

namespace orv {

// Whether the machine is under strain right now, and for which one reason.
// Stateless: the caller keeps the CPU history (at least the last minute).
struct StrainDetector {
    StrainDetector() = delete;

    // A CPU point counts as strained at this percentage or more.
    static constexpr double cpuThreshold = 85.0;
    // How far back the CPU history is looked at, in seconds.
    static constexpr double cpuWindow = 60.0;
    // The startup disk is almost full below this fraction of free space.
    static constexpr double diskFreeFraction = 0.05;

    // One total-CPU reading (`CPUStats.totalPercent`) and when it was taken.
    struct CPUPoint {
        Date at;
        double percent = 0;
    };

    // The first reason that holds, in priority order. `cpuHistory` may be in
    // any order; `diskFreeFraction` is free ÷ total bytes of the startup
    // volume, absent when unknown. A NaN never turns a reason on.
    static std::optional<StrainReason> evaluate(std::span<const CPUPoint> cpuHistory, Date now, bool memoryPressureHigh,
                                                std::optional<double> startupDiskFreeFraction,
                                                ThermalPressure thermal);

    static std::string_view message(StrainReason reason);
};

}  // namespace orv
