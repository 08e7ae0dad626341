#include "cli/SnapshotView.h"

#include <fmt/format.h>
#include <fmt/ostream.h>

#include <algorithm>
#include <boost/describe/enum_to_string.hpp>
#include <ostream>

#include "cli/Format.h"
#include "cli/PowerSensorsReport.h"
#include "cli/SystemView.h"
#include "core/JsonCoding.h"
#include "core/StrainDetector.h"

namespace orv::cli {

namespace {

const char* kindName(AppIdentity::Kind kind) { return boost::describe::enum_to_string(kind, "other"); }

}  // namespace

void printSnapshot(const Snapshot& snapshot, size_t top, std::ostream& out, std::optional<StrainReason> strain) {
    const SystemSample& system = snapshot.system;
    fmt::print(out, "Snapshot {} over {:.2f} s, up {}\n", formatUTCDateTime(snapshot.at), snapshot.interval.toSeconds(),
               formatUptime(system.uptime));
    printCPU(system.cpu, out);
    printMemory(system.memory, out);
    printDisk(system.disk, out);
    printNetwork(system.network, out);
    if (system.gpu) printGPU(system.gpu, out);
    if (system.battery) printBattery(system.battery, out);
    printThermal(system.thermal, out);
    if (system.sensors) printSensors(system.sensors, out);
    if (strain) fmt::print(out, "Strain   {}\n", StrainDetector::message(*strain));

    size_t apps = std::min(top, snapshot.apps.size());
    fmt::print(out, "\nApps ({} of {})\n", apps, snapshot.apps.size());
    fmt::print(out, "{:>6} {:>10} {:>12} {:>12} {:>12} {:>12} {:>7} {:>5} {:<8}  {}\n", "CPU %", "MEMORY", "READ/s",
               "WRITE/s", "NET IN/s", "NET OUT/s", "IMPACT", "PROCS", "KIND", "APP");
    for (size_t i = 0; i < apps; ++i) {
        const AppAggregate& a = snapshot.apps[i];
        fmt::print(out, "{:>6} {:>10} {:>12} {:>12} {:>12} {:>12} {:>7} {:>5} {:<8}  {}\n", formatPercent(a.cpuPercent),
                   formatBytes(a.memoryBytes), formatRate(a.diskReadBPS), formatRate(a.diskWriteBPS),
                   formatRate(a.netInBPS), formatRate(a.netOutBPS), formatFigure(a.energyImpact), a.processCount,
                   kindName(a.app.kind), a.app.name);
    }

    size_t processes = std::min(top, snapshot.processes.size());
    fmt::print(out, "\nProcesses ({} of {})\n", processes, snapshot.processes.size());
    fmt::print(out, "{:>7} {:>6} {:>10} {:>12} {:>12} {:>12} {:>12} {:>7}  {:<24} {}\n", "PID", "CPU %", "MEMORY",
               "READ/s", "WRITE/s", "NET IN/s", "NET OUT/s", "IMPACT", "NAME", "APP");
    for (size_t i = 0; i < processes; ++i) {
        const ProcessSample& p = snapshot.processes[i];
        fmt::print(out, "{:>7} {:>6} {:>10} {:>12} {:>12} {:>12} {:>12} {:>7}  {:<24} {}\n", p.pid,
                   formatPercent(p.cpuPercent), formatBytes(p.footprintBytes), formatRate(p.diskReadBPS),
                   formatRate(p.diskWriteBPS), formatRate(p.netInBPS), formatRate(p.netOutBPS),
                   formatFigure(p.energyImpact), fitWidth(p.name, 24), p.app);
    }
}

std::string snapshotJSONLine(const Snapshot& snapshot, std::optional<size_t> top) {
    if (!top || (*top >= snapshot.apps.size() && *top >= snapshot.processes.size())) {
        return json::encode(snapshot);
    }
    Snapshot cut;
    cut.at = snapshot.at;
    cut.interval = snapshot.interval;
    cut.system = snapshot.system;
    cut.apps.assign(snapshot.apps.begin(), snapshot.apps.begin() + std::min(*top, snapshot.apps.size()));
    cut.processes.assign(snapshot.processes.begin(),
                         snapshot.processes.begin() + std::min(*top, snapshot.processes.size()));
    return json::encode(cut);
}

}  // namespace orv::cli
