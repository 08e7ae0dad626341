#include "cli/SystemView.h"

#include <fmt/format.h>
#include <fmt/ostream.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <ostream>
#include <thread>

#include "cli/Format.h"
#include "cli/PowerSensorsReport.h"
#include "cli/SamplingSession.h"
#include "core/JsonCoding.h"
#include "core/SamplingExecutor.h"

namespace orv::cli {

namespace {

// A section over one of the system sources, whose `sample` yields the
// record kept in `field`. Absent from the parts: no section.
template <class Source, class Record>
void addSourceSection(std::vector<SystemSection>& sections, std::string key, std::unique_ptr<Source> source,
                      Record SystemSample::*field, void (*print)(const Record&, std::ostream&)) {
    if (!source) return;
    std::shared_ptr<Source> shared = std::move(source);
    SystemSection section;
    section.key = std::move(key);
    section.first = [shared] { shared->sample().get(); };
    section.second = [shared, field](SystemSample& sample) { sample.*field = shared->sample().get(); };
    section.print = [field, print](const SystemSample& sample, std::ostream& out) { print(sample.*field, out); };
    sections.push_back(std::move(section));
}

}  // namespace

SystemReport makeSystemReport(SamplingSession& session) {
    SnapshotBuilder::Parts parts = session.machineParts();
    SystemReport report;
    auto& sections = report.sections;
    addSourceSection(sections, "cpu", std::move(parts.cpu), &SystemSample::cpu, &printCPU);
    addSourceSection(sections, "memory", std::move(parts.memory), &SystemSample::memory, &printMemory);
    addSourceSection(sections, "disk", std::move(parts.disk), &SystemSample::disk, &printDisk);
    addSourceSection(sections, "network", std::move(parts.network), &SystemSample::network, &printNetwork);
    for (auto& section : makePowerSensorsSections(parts, session.peripherals())) sections.push_back(std::move(section));
    report.uptime = parts.uptime;
    return report;
}

void printCPU(const CPUStats& stats, std::ostream& out) {
    fmt::print(out, "CPU      {} busy (user {}, system {})\n", formatPercentSign(stats.totalPercent),
               formatPercentSign(stats.userPercent), formatPercentSign(stats.systemPercent));
    std::string cores;
    for (size_t i = 0; i < stats.perCorePercent.size(); ++i) {
        cores += fmt::format("{}{}: {}", i == 0 ? "" : "  ", i, formatPercent(stats.perCorePercent[i]));
    }
    fmt::print(out, "  cores  {}\n", cores);
    for (const auto& cluster : stats.clusters) {
        fmt::print(out, "  {:<14} {} over {} cores\n", cluster.name, formatPercentSign(cluster.percent),
                   cluster.coreIndexes.size());
    }
    fmt::print(out, "  load   {:.2f} {:.2f} {:.2f}\n", stats.loadAverage.one, stats.loadAverage.five,
               stats.loadAverage.fifteen);
}

void printMemory(const MemoryStats& stats, std::ostream& out) {
    fmt::print(out, "Memory   {} used of {} ({} bytes), pressure {}, {} % available\n", formatBytes(stats.usedBytes),
               formatBytes(stats.totalBytes), stats.totalBytes, boost::describe::enum_to_string(stats.pressure, "?"),
               stats.availableLevel);
    fmt::print(out, "  app {}  wired {}  compressed {}  cached files {}  swap used {}\n", formatBytes(stats.appBytes),
               formatBytes(stats.wiredBytes), formatBytes(stats.compressedBytes), formatBytes(stats.cachedFilesBytes),
               formatBytes(stats.swapUsedBytes));
}

void printDisk(const DiskStats& stats, std::ostream& out) {
    fmt::print(out, "Disk     read {}, write {}\n", formatRate(stats.readBPS), formatRate(stats.writeBPS));
    for (const auto& volume : stats.volumes) {
        fmt::print(out, "  {:<14} {} free of {}  ({})\n", volume.name, formatBytes(volume.freeBytes),
                   formatBytes(volume.totalBytes), volume.id);
    }
}

void printNetwork(const NetworkStats& stats, std::ostream& out) {
    fmt::print(out, "Network  in {}, out {}, primary interface {}\n", formatRate(stats.inBPS), formatRate(stats.outBPS),
               stats.primaryInterface.value_or("none"));
}

int runSystem(SystemReport& report, const SystemOptions& options, std::ostream& out, std::ostream& errors) {
    auto& sections = report.sections;
    std::vector<bool> usable(sections.size(), true);
    auto readAll = [&](auto step) {
        for (size_t i = 0; i < sections.size(); ++i) {
            if (!usable[i]) continue;
            try {
                SamplingExecutor::shared().run([&] { step(sections[i]); }).get();
            } catch (const std::exception& e) {
                errors << "orvantine: " << sections[i].key << " unavailable: " << e.what() << "\n";
                usable[i] = false;
            }
        }
    };
    SystemSample sample;
    readAll([](SystemSection& s) { s.first(); });
    std::this_thread::sleep_for(std::chrono::nanoseconds(options.interval.toNanoseconds()));
    readAll([&sample](SystemSection& s) { s.second(sample); });
    if (std::find(usable.begin(), usable.end(), true) == usable.end()) return 1;
    if (report.uptime) sample.uptime = report.uptime();

    if (options.json) {
        out << json::encode(sample) << "\n";
    } else {
        for (size_t i = 0; i < sections.size(); ++i) {
            if (usable[i] && sections[i].print) sections[i].print(sample, out);
        }
    }
    return 0;
}

}  // namespace orv::cli
