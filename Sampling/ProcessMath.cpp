#include "Sampling/ProcessMath.h"

#include <algorithm>
#include <optional>

namespace orv::ProcessMath {

namespace {

// What one process did over its interval. All counters are increases,
// already clamped at zero.
struct Deltas {
    double intervalSeconds = 0;
    double cpuNanoseconds = 0;
    double diskReadBytes = 0;
    double diskWriteBytes = 0;
    double energyNJ = 0;
    double wakeups = 0;
};

double increase(uint64_t current, uint64_t baseline) {
    // Unsigned: a counter that went backwards (a reset) contributes nothing
    // rather than wrapping to a huge value.
    return current >= baseline ? double(current - baseline) : 0.0;
}

double increase(unsigned __int128 current, unsigned __int128 baseline) {
    return current >= baseline ? double(current - baseline) : 0.0;
}

// Two passes at one instant (an empty interval) give zero rates, not
// infinities or NaN that would poison sums and the JSON.
double perSecond(double amount, double seconds) { return seconds > 0 ? amount / seconds : 0.0; }

// The process's own increases, or nothing when it has no baseline and was
// not born inside the interval.
std::optional<Deltas> deltas(const ProcessReading& reading, const ProcessReading* baseline, double interval,
                             Date now) {
    if (baseline != nullptr) {
        return Deltas{
            interval,
            increase(cpuNanoseconds(reading.cpuTime), cpuNanoseconds(baseline->cpuTime)),
            increase(reading.diskReadBytes, baseline->diskReadBytes),
            increase(reading.diskWriteBytes, baseline->diskWriteBytes),
            increase(reading.energyNJ, baseline->energyNJ),
            increase(reading.wakeups, baseline->wakeups),
        };
    }
    double age = now.secondsSinceReferenceDate - reading.startTime.secondsSinceReferenceDate;
    if (!(age > 0 && age <= interval)) return std::nullopt;
    // Born during the interval: everything it ever did happened within it.
    return Deltas{
        age,
        double(cpuNanoseconds(reading.cpuTime)),
        double(reading.diskReadBytes),
        double(reading.diskWriteBytes),
        double(reading.energyNJ),
        double(reading.wakeups),
    };
}

const ProcessReading* baselineFor(const ReadingsByPID& previous, const ProcessReading& reading) {
    auto found = previous.find(reading.pid);
    if (found == previous.end()) return nullptr;
    const ProcessReading& candidate = found->second;
    // A reused pid is another process; a reading whose completeness changed
    // would compare real counters against zeros.
    if (candidate.startTime != reading.startTime || candidate.isComplete != reading.isComplete) return nullptr;
    return &candidate;
}

std::optional<double> gpuShare(const GPUTimeByPID& previousGPU, const GPUTimeByPID& currentGPU, int32_t pid,
                               const std::optional<Deltas>& measured) {
    auto before = previousGPU.find(pid);
    auto after = currentGPU.find(pid);
    if (before == previousGPU.end() || after == currentGPU.end()) return std::nullopt;
    if (!measured) return 0.0;
    double busyNs = increase(after->second, before->second);
    return std::min(perSecond(busyNs, measured->intervalSeconds) / 1e9 * 100.0, 100.0);
}

}  // namespace

unsigned __int128 cpuNanoseconds(Duration cpuTime) {
    if (cpuTime.attoseconds <= 0) return 0;
    auto whole = static_cast<unsigned __int128>(cpuTime.wholeSeconds());
    auto rest = static_cast<unsigned __int128>(cpuTime.remainderAttoseconds());
    return whole * 1'000'000'000u + rest / 1'000'000'000u;
}

std::vector<ProcessSample> samples(const ReadingsByPID& previous, const std::vector<ProcessReading>& current,
                                   const IdentitiesByPID& identities, const GPUTimeByPID& previousGPU,
                                   const GPUTimeByPID& currentGPU, Duration elapsed, Date now, int coreCount,
                                   const EnergyCoefficients& energy) {
    const double interval = elapsed.toSeconds();
    const double cores = coreCount < 1 ? 1.0 : double(coreCount);

    std::vector<ProcessSample> result;
    result.reserve(current.size());
    for (const auto& reading : current) {
        ProcessSample sample;
        sample.pid = reading.pid;
        auto identity = identities.find(reading.pid);
        sample.app = identity != identities.end() ? identity->second.id : AppIdentity::other(reading.name).id;
        sample.name = reading.name;
        sample.footprintBytes = reading.footprintBytes;

        auto measured = deltas(reading, baselineFor(previous, reading), interval, now);
        sample.gpuPercent = gpuShare(previousGPU, currentGPU, reading.pid, measured);
        if (measured) {
            double t = measured->intervalSeconds;
            sample.cpuPercent = std::min(perSecond(measured->cpuNanoseconds, t) / 1e9 / cores * 100.0, 100.0);
            sample.diskReadBPS = perSecond(measured->diskReadBytes, t);
            sample.diskWriteBPS = perSecond(measured->diskWriteBytes, t);
            if (reading.isComplete) {
                // Nanojoules per second are nanowatts; 10^6 of them make a milliwatt.
                sample.energyMW = perSecond(measured->energyNJ, t) / 1e6;
                double gpuSeconds = sample.gpuPercent.value_or(0.0) / 100.0 * t;
                sample.energyImpact = energy.energyImpact(measured->cpuNanoseconds / 1e9, measured->wakeups,
                                                          measured->diskReadBytes, measured->diskWriteBytes,
                                                          gpuSeconds, t);
            }
        } else if (reading.isComplete) {
            sample.energyMW = 0.0;
        }
        result.push_back(std::move(sample));
    }
    return result;
}

}  // namespace orv::ProcessMath
