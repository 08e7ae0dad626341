#include "cli/HistoryMinute.h"

#include <algorithm>
#include <cctype>

namespace orv::cli {

void AppTotals::add(const AppAggregate& app, double interval, size_t cores) {
    seconds += interval;
    cpuSeconds += app.cpuPercent / 100 * interval * double(std::max<size_t>(cores, 1));
    memoryByteSeconds += double(app.memoryBytes) * interval;
    diskReadBytes += app.diskReadBPS * interval;
    diskWrittenBytes += app.diskWriteBPS * interval;
    netBytes += (app.netInBPS.value_or(0) + app.netOutBPS.value_or(0)) * interval;
    energy += app.energyImpact.value_or(0) * interval;
}

namespace {

bool mentionsGPU(const std::string& text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return lower.find("gpu") != std::string::npos || lower.find("amdgpu") != std::string::npos;
}

}  // namespace

std::vector<std::pair<Metric, double>> metricFigures(const Snapshot& snapshot) {
    const SystemSample& s = snapshot.system;
    std::vector<std::pair<Metric, double>> out = {
        {Metric::cpu, s.cpu.totalPercent},       {Metric::memory, double(s.memory.usedBytes)},
        {Metric::diskRead, s.disk.readBPS},      {Metric::diskWrite, s.disk.writeBPS},
        {Metric::netIn, s.network.inBPS},        {Metric::netOut, s.network.outBPS},
        {Metric::thermalPressure, double(int(s.thermal))},
    };
    // Power: the apps' modelled draw where the energy model knows it, else
    // what the battery reports.
    double energyMW = 0, impact = 0;
    bool anyEnergy = false, anyImpact = false;
    for (const auto& app : snapshot.apps) {
        if (app.energyMW) energyMW += *app.energyMW, anyEnergy = true;
        if (app.energyImpact) impact += *app.energyImpact, anyImpact = true;
    }
    if (anyEnergy) out.emplace_back(Metric::energy, energyMW);
    else if (s.battery && s.battery->powerDrawWatts) out.emplace_back(Metric::energy, *s.battery->powerDrawWatts * 1000);
    if (anyImpact) out.emplace_back(Metric::energyImpact, impact);
    if (s.gpu) out.emplace_back(Metric::gpu, s.gpu->utilizationPercent);
    if (s.sensors) {
        std::optional<double> cpuHottest, gpuHottest, fastestFan;
        for (const auto& t : s.sensors->temperatures) {
            auto& slot = mentionsGPU(t.name) || mentionsGPU(t.id) ? gpuHottest : cpuHottest;
            slot = std::max(slot.value_or(t.celsius), t.celsius);
        }
        for (const auto& fan : s.sensors->fans) fastestFan = std::max(fastestFan.value_or(fan.rpm), fan.rpm);
        if (cpuHottest) out.emplace_back(Metric::cpuTemperature, *cpuHottest);
        if (gpuHottest) out.emplace_back(Metric::gpuTemperature, *gpuHottest);
        if (fastestFan) out.emplace_back(Metric::fanSpeed, *fastestFan);
    }
    return out;
}

}  // namespace orv::cli
