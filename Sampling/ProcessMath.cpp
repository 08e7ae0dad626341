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
std::optional<Deltas> deltas(const ProcessReading& reading, const Baseline* baseline, double interval,
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

const Baseline* baselineFor(const Baselines& previous, const ProcessReading& reading) {
    const Baseline* found = findBaseline(previous, reading.pid);
    if (found == nullptr) return nullptr;
    const Baseline& candidate = *found;
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

Baseline Baseline::of(const ProcessReading& reading) {
    return Baseline{.pid = reading.pid,
                    .isComplete = reading.isComplete,
                    .startTime = reading.startTime,
                    .cpuTime = reading.cpuTime,
                    .diskReadBytes = reading.diskReadBytes,
                    .diskWriteBytes = reading.diskWriteBytes,
                    .energyNJ = reading.energyNJ,
                    .wakeups = reading.wakeups};
}

void keepBaselines(Baselines& baselines, const std::vector<ProcessReading>& readings) {
    baselines.clear();
    baselines.reserve(readings.size());
    for (const auto& reading : readings) baselines.push_back(Baseline::of(reading));
    auto byPID = [](const Baseline& a, const Baseline& b) { return a.pid < b.pid; };
    // Readings come in the kernel's table order, which is already by pid.
    if (!std::is_sorted(baselines.begin(), baselines.end(), byPID)) {
        std::stable_sort(baselines.begin(), baselines.end(), byPID);
    }
    // Of equal pids the last reading stands.
    auto samePID = [](const Baseline& a, const Baseline& b) { return a.pid == b.pid; };
    if (std::adjacent_find(baselines.begin(), baselines.end(), samePID) == baselines.end()) return;
    std::reverse(baselines.begin(), baselines.end());
    baselines.erase(std::unique(baselines.begin(), baselines.end(), samePID), baselines.end());
    std::reverse(baselines.begin(), baselines.end());
}

const Baseline* findBaseline(const Baselines& baselines, int32_t pid) {
    auto found = std::lower_bound(baselines.begin(), baselines.end(), pid,
                                  [](const Baseline& b, int32_t p) { return b.pid < p; });
    return found != baselines.end() && found->pid == pid ? &*found : nullptr;
}

std::vector<ProcessSample> samples(const ReadingsByPID& previous, const std::vector<ProcessReading>& current,
                                   const IdentitiesByPID& identities, const GPUTimeByPID& previousGPU,
                                   const GPUTimeByPID& currentGPU, Duration elapsed, Date now, int coreCount,
                                   const EnergyCoefficients& energy) {
    Baselines baselines;
    baselines.reserve(previous.size());
    for (const auto& [pid, reading] : previous) {
        baselines.push_back(Baseline::of(reading));
        baselines.back().pid = pid;
    }
    std::sort(baselines.begin(), baselines.end(), [](const Baseline& a, const Baseline& b) { return a.pid < b.pid; });
    return samples(baselines, current, identities, previousGPU, currentGPU, elapsed, now, coreCount, energy);
}

std::vector<ProcessSample> samples(const Baselines& previous, const std::vector<ProcessReading>& current,
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
