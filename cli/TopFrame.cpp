#include "cli/TopFrame.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/Format.h"
#include "core/StrainDetector.h"

namespace orv::cli {

namespace {

double diskRate(double read, double write) { return read + write; }

// Received plus sent; a process without accounting sorts below any
// measured figure, a silent one included.
double networkKey(const std::optional<double>& in, const std::optional<double>& out) {
    if (!in && !out) return -1;
    return in.value_or(0) + out.value_or(0);
}

// The energy impact, which every platform estimates; a process without one
// (unreadable, or not measured yet) sorts below any measured figure.
double energyKey(const std::optional<double>& impact) { return impact ? *impact : -1; }

template <class T, class Figure, class Tie>
void sortBy(std::vector<T>& items, Figure figure, Tie tie) {
    std::stable_sort(items.begin(), items.end(), [&](const T& a, const T& b) {
        double fa = figure(a), fb = figure(b);
        if (fa != fb) return fa > fb;
        if (a.cpuPercent != b.cpuPercent) return a.cpuPercent > b.cpuPercent;
        return tie(a, b);
    });
}

std::string sortMark(TopSort shown, TopSort sort, const char* title) {
    return shown == sort ? fmt::format("[{}]", title) : std::string(title);
}

}  // namespace

std::optional<TopSort> sortForKey(char key) {
    switch (key) {
        case 'c': case 'C': return TopSort::cpu;
        case 'm': case 'M': return TopSort::memory;
        case 'd': case 'D': return TopSort::disk;
        case 'n': case 'N': return TopSort::network;
        case 'e': case 'E': return TopSort::energy;
        default: return std::nullopt;
    }
}

const char* sortName(TopSort sort) {
    switch (sort) {
        case TopSort::cpu: return "CPU";
        case TopSort::memory: return "memory";
        case TopSort::disk: return "disk";
        case TopSort::network: return "network";
        case TopSort::energy: return "energy";
    }
    return "CPU";
}

void sortApps(std::vector<AppAggregate>& apps, TopSort sort) {
    auto byID = [](const AppAggregate& a, const AppAggregate& b) { return a.app.id < b.app.id; };
    switch (sort) {
        case TopSort::cpu: sortBy(apps, [](const AppAggregate& a) { return a.cpuPercent; }, byID); break;
        case TopSort::memory: sortBy(apps, [](const AppAggregate& a) { return double(a.memoryBytes); }, byID); break;
        case TopSort::disk:
            sortBy(apps, [](const AppAggregate& a) { return diskRate(a.diskReadBPS, a.diskWriteBPS); }, byID);
            break;
        case TopSort::network:
            sortBy(apps, [](const AppAggregate& a) { return networkKey(a.netInBPS, a.netOutBPS); }, byID);
            break;
        case TopSort::energy:
            sortBy(apps, [](const AppAggregate& a) { return energyKey(a.energyImpact); }, byID);
            break;
    }
}

void sortProcesses(std::vector<ProcessSample>& processes, TopSort sort) {
    auto byPID = [](const ProcessSample& a, const ProcessSample& b) { return a.pid < b.pid; };
    switch (sort) {
        case TopSort::cpu: sortBy(processes, [](const ProcessSample& p) { return p.cpuPercent; }, byPID); break;
        case TopSort::memory:
            sortBy(processes, [](const ProcessSample& p) { return double(p.footprintBytes); }, byPID);
            break;
        case TopSort::disk:
            sortBy(processes, [](const ProcessSample& p) { return diskRate(p.diskReadBPS, p.diskWriteBPS); }, byPID);
            break;
        case TopSort::network:
            sortBy(processes, [](const ProcessSample& p) { return networkKey(p.netInBPS, p.netOutBPS); }, byPID);
            break;
        case TopSort::energy:
            sortBy(processes, [](const ProcessSample& p) { return energyKey(p.energyImpact); }, byPID);
            break;
    }
}

std::vector<std::string> topFrame(const Snapshot& snapshot, const TopLayout& layout,
                                  std::optional<StrainReason> strain) {
    std::vector<std::string> lines;
    const SystemSample& s = snapshot.system;
    bool measuring = snapshot.interval == Duration::zero();

    lines.push_back(fmt::format("orvantine top  {}  up {}  {}  sort {}  (c m d n e sort, q quits)",
                                formatLocalClock(snapshot.at), formatUptime(s.uptime),
                                measuring ? std::string("measuring…")
                                          : fmt::format("every {:.1f} s", snapshot.interval.toSeconds()),
                                sortName(layout.sort)));
    lines.push_back(fmt::format("CPU  {:>5} %  user {}  system {}  load {:.2f} {:.2f} {:.2f}  {} cores",
                                formatPercent(s.cpu.totalPercent), formatPercent(s.cpu.userPercent),
                                formatPercent(s.cpu.systemPercent), s.cpu.loadAverage.one,
                                s.cpu.loadAverage.five, s.cpu.loadAverage.fifteen, s.cpu.perCorePercent.size()));
    lines.push_back(fmt::format("Mem  {} of {}  swap {}  pressure {}", formatBytes(s.memory.usedBytes),
                                formatBytes(s.memory.totalBytes), formatBytes(s.memory.swapUsedBytes),
                                boost::describe::enum_to_string(s.memory.pressure, "normal")));
    std::string io = fmt::format("Disk read {}  write {}   Net in {}  out {}", formatRate(s.disk.readBPS),
                                 formatRate(s.disk.writeBPS), formatRate(s.network.inBPS),
                                 formatRate(s.network.outBPS));
    lines.push_back(io);
    std::string power = fmt::format("Thermal {}", boost::describe::enum_to_string(s.thermal, "nominal"));
    if (s.gpu) power += fmt::format("   GPU {}", formatPercentSign(s.gpu->utilizationPercent));
    if (s.battery) power += fmt::format("   Battery {:.0f} %", s.battery->percent);
    if (strain) power += fmt::format("   Strain: {}", StrainDetector::message(*strain));
    lines.push_back(power);

    // What is left after the header, the blank line and the two list
    // headings goes a third to apps and the rest to processes.
    size_t used = lines.size() + 3;
    size_t rows = layout.height > used ? layout.height - used : 0;
    size_t appRows = std::min(snapshot.apps.size(), std::max<size_t>(rows / 3, rows > 0 ? 1 : 0));
    size_t processRows = rows - appRows;

    auto apps = snapshot.apps;
    sortApps(apps, layout.sort);
    auto processes = snapshot.processes;
    sortProcesses(processes, layout.sort);

    lines.emplace_back();
    lines.push_back(fmt::format("{:>6} {:>9} {:>11} {:>11} {:>11} {:>7} {:>5}  {} ({} apps)",
                                sortMark(layout.sort, TopSort::cpu, "CPU%"),
                                sortMark(layout.sort, TopSort::memory, "MEM"),
                                sortMark(layout.sort, TopSort::disk, "DISK/s"),
                                sortMark(layout.sort, TopSort::network, "NET IN/s"), "NET OUT/s",
                                sortMark(layout.sort, TopSort::energy, "ENERGY"), "PROCS", "APP", snapshot.apps.size()));
    for (size_t i = 0; i < appRows; ++i) {
        const AppAggregate& a = apps[i];
        lines.push_back(fmt::format("{:>6} {:>9} {:>11} {:>11} {:>11} {:>7} {:>5}  {}", formatPercent(a.cpuPercent),
                                    formatBytes(a.memoryBytes), formatRate(diskRate(a.diskReadBPS, a.diskWriteBPS)),
                                    formatRate(a.netInBPS), formatRate(a.netOutBPS), formatFigure(a.energyImpact),
                                    a.processCount, a.app.name));
    }
    lines.push_back(fmt::format("{:>6} {:>9} {:>11} {:>11} {:>11} {:>7} {:>7}  {} ({} processes)",
                                sortMark(layout.sort, TopSort::cpu, "CPU%"),
                                sortMark(layout.sort, TopSort::memory, "MEM"),
                                sortMark(layout.sort, TopSort::disk, "DISK/s"),
                                sortMark(layout.sort, TopSort::network, "NET IN/s"), "NET OUT/s",
                                sortMark(layout.sort, TopSort::energy, "ENERGY"), "PID", "NAME",
                                snapshot.processes.size()));
    for (size_t i = 0; i < processRows && i < processes.size(); ++i) {
        const ProcessSample& p = processes[i];
        lines.push_back(fmt::format("{:>6} {:>9} {:>11} {:>11} {:>11} {:>7} {:>7}  {}", formatPercent(p.cpuPercent),
                                    formatBytes(p.footprintBytes), formatRate(diskRate(p.diskReadBPS, p.diskWriteBPS)),
                                    formatRate(p.netInBPS), formatRate(p.netOutBPS), formatFigure(p.energyImpact),
                                    p.pid, p.name));
    }

    lines.resize(layout.height);
    for (auto& line : lines) line = fitWidth(line, layout.width);
    return lines;
}

}  // namespace orv::cli
