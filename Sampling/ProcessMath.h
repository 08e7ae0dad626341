#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "Sampling/EnergyCoefficients.h"
#include "core/AppIdentity.h"
#include "core/Date.h"
#include "core/Duration.h"
#include "core/ProcessReading.h"
#include "core/ProcessSample.h"

namespace orv::ProcessMath {

using ReadingsByPID = std::unordered_map<int32_t, ProcessReading>;
using IdentitiesByPID = std::unordered_map<int32_t, AppIdentity>;
// Cumulative GPU time per process, nanoseconds.
using GPUTimeByPID = std::unordered_map<int32_t, uint64_t>;

// One sample per element of `current`, in its order: the rates of each
// process between its reading in `previous` and now, over `elapsed`.
//
// A previous reading is a baseline only for the same process instance
// (same start time) read to the same completeness. A process without one
// that was born inside the interval is measured over its own life; any
// other process without one gets zero rates (and no energy impact), never
// its lifetime totals. Counters that went backwards count as zero; CPU and
// GPU shares stop at 100. Network rates stay absent for a later step.
std::vector<ProcessSample> samples(const ReadingsByPID& previous, const std::vector<ProcessReading>& current,
                                   const IdentitiesByPID& identities, const GPUTimeByPID& previousGPU,
                                   const GPUTimeByPID& currentGPU, Duration elapsed, Date now, int coreCount,
                                   const EnergyCoefficients& energy);

// A duration as whole nanoseconds: whole seconds × 10^9 plus the remaining
// attoseconds ÷ 10^9; never negative.
unsigned __int128 cpuNanoseconds(Duration cpuTime);

}  // namespace orv::ProcessMath
