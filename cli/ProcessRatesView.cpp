#include "cli/ProcessRatesView.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <ostream>
#include <thread>
#include <unordered_map>

#include "Sampling/EnergyCoefficientsLoader.h"
#include "Sampling/ProcessMath.h"
#include "cli/Format.h"
#include "core/ContinuousClock.h"
#include "core/Date.h"
#include "core/JsonCoding.h"

namespace orv::cli {

namespace {

int logicalCPUCount() {
    unsigned count = std::thread::hardware_concurrency();
    return count == 0 ? 1 : int(count);
}

}  // namespace

std::vector<ProcessSample> measureProcessRates(ProcessSource& source, Duration interval) {
    std::vector<ProcessReading> first = source.sample().get();
    auto firstAt = ContinuousClock::now();
    std::this_thread::sleep_for(std::chrono::nanoseconds(interval.toNanoseconds()));
    std::vector<ProcessReading> second = source.sample().get();
    auto secondAt = ContinuousClock::now();
    Date now = Date::now();

    ProcessMath::ReadingsByPID previous;
    previous.reserve(first.size());
    for (auto& reading : first) previous.emplace(reading.pid, std::move(reading));

    // Ownership by app and GPU time come with the whole snapshot; here every
    // process is its own executable's and no GPU share is shown.
    auto samples = ProcessMath::samples(previous, second, {}, {}, {}, secondAt - firstAt, now, logicalCPUCount(),
                                        EnergyCoefficientsLoader::shared());
    sortByCPUShare(samples);
    return samples;
}

void sortByCPUShare(std::vector<ProcessSample>& samples) {
    std::stable_sort(samples.begin(), samples.end(), [](const ProcessSample& a, const ProcessSample& b) {
        if (a.cpuPercent != b.cpuPercent) return a.cpuPercent > b.cpuPercent;
        return a.pid < b.pid;
    });
}

void printProcessRates(const std::vector<ProcessSample>& samples, bool json, std::ostream& out) {
    if (json) {
        out << json::encode(samples) << '\n';
        return;
    }
    out << fmt::format("{:>7} {:>6} {:>10} {:>12} {:>12} {:>7}  {}\n", "PID", "CPU %", "MEMORY", "READ/s",
                       "WRITE/s", "IMPACT", "NAME");
    for (const auto& s : samples) {
        out << fmt::format("{:>7} {:>6} {:>10} {:>12} {:>12} {:>7}  {}\n", s.pid, formatPercent(s.cpuPercent),
                           formatBytes(s.footprintBytes), formatRate(s.diskReadBPS), formatRate(s.diskWriteBPS),
                           formatFigure(s.energyImpact), s.name);
    }
}

int runProcessRates(ProcessSource& source, const ProcessRatesOptions& options, std::ostream& out) {
    printProcessRates(measureProcessRates(source, options.interval), options.json, out);
    return 0;
}

}  // namespace orv::cli
