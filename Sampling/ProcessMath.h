#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "Sampling/EnergyCoefficients.h"
#include "core/AppIdentity.h"
#include "core/Date.h"
#include "core/Duration.h"
#include "core/PidTable.h"
#include "core/ProcessReading.h"
#include "core/ProcessSample.h"

namespace orv::ProcessMath {

using ReadingsByPID = std::unordered_map<int32_t, ProcessReading>;
using IdentitiesByPID = PidTable<AppIdentity>;
// Cumulative GPU time per process, nanoseconds.
using GPUTimeByPID = std::unordered_map<int32_t, uint64_t>;

// What a rate needs of a process's previous reading: the instance, the
// completeness and the counters, without the name and path a reading
// carries (a live view keeps one per process between passes).
struct Baseline {
    int32_t pid = 0;
    bool isComplete = false;
    Date startTime;
    Duration cpuTime;
    uint64_t diskReadBytes = 0;
    uint64_t diskWriteBytes = 0;
    uint64_t energyNJ = 0;
    uint64_t wakeups = 0;

    static Baseline of(const ProcessReading& reading);
};
// One pass's baselines, sorted by pid, one per pid.
using Baselines = std::vector<Baseline>;

// Replaces `baselines` with those of `readings`, reusing its storage. Of two
// readings of one pid the last one stands, as it would in a map.
void keepBaselines(Baselines& baselines, const std::vector<ProcessReading>& readings);

// The baseline of `pid`, or null.
const Baseline* findBaseline(const Baselines& baselines, int32_t pid);

// One sample per element of `current`, in its order: the rates of each
// process between its reading in `previous` and now, over `elapsed`.
//
// A previous reading is a baseline only for the same process instance
// (same start time) read to the same completeness. A process without one
// that was born inside the interval is measured over its own life; any
// other process without one gets zero rates (and no energy impact), never
// its lifetime totals. Counters that went backwards count as zero; CPU and
// GPU shares stop at 100. Network rates stay absent for a later step.
std::vector<ProcessSample> samples(const Baselines& previous, const std::vector<ProcessReading>& current,
                                   const IdentitiesByPID& identities, const GPUTimeByPID& previousGPU,
                                   const GPUTimeByPID& currentGPU, Duration elapsed, Date now, int coreCount,
                                   const EnergyCoefficients& energy);
// The same with the previous pass's whole readings by pid.
std::vector<ProcessSample> samples(const ReadingsByPID& previous, const std::vector<ProcessReading>& current,
                                   const IdentitiesByPID& identities, const GPUTimeByPID& previousGPU,
                                   const GPUTimeByPID& currentGPU, Duration elapsed, Date now, int coreCount,
                                   const EnergyCoefficients& energy);

// A duration as whole nanoseconds: whole seconds × 10^9 plus the remaining
// attoseconds ÷ 10^9; never negative.
unsigned __int128 cpuNanoseconds(Duration cpuTime);

}  // namespace orv::ProcessMath
