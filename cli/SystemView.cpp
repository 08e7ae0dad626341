#include "cli/SystemView.h"

#include <fmt/format.h>
#include <fmt/ostream.h>

#include <boost/json/serialize.hpp>
#include <chrono>
#include <exception>
#include <ostream>
#include <thread>

#include "Sampling/CPUSampler.h"
#include "Sampling/DiskSampler.h"
#include "Sampling/MemorySampler.h"
#include "Sampling/NetworkSampler.h"
#include "cli/Format.h"
#include "cli/PowerSensorsReport.h"
#include "core/JsonCoding.h"
#include "core/SamplingExecutor.h"

namespace orv::cli {

namespace {

// A section over one sampler whose `sampleNow` returns Record.
template <class Sampler, class Record>
SystemSection samplerSection(std::string key, void (*print)(const Record&, std::ostream&)) {
    auto sampler = std::make_shared<Sampler>();
    auto latest = std::make_shared<std::optional<Record>>();
    SystemSection section;
    section.key = key;
    section.first = [sampler] { sampler->sampleNow(); };
    section.second = [sampler, latest] { *latest = sampler->sampleNow(); };
    section.print = [latest, print](std::ostream& out) {
        if (*latest) print(**latest, out);
    };
    section.json = [latest, key](boost::json::object& object) {
        if (*latest) object[key] = json::toJsonValue(**latest);
    };
    return section;
}

}  // namespace

std::vector<SystemSection> makeSystemSections() {
    std::vector<SystemSection> sections;
    sections.push_back(samplerSection<CPUSampler, CPUStats>("cpu", &printCPU));
    sections.push_back(samplerSection<MemorySampler, MemoryStats>("memory", &printMemory));
    sections.push_back(samplerSection<DiskSampler, DiskStats>("disk", &printDisk));
    sections.push_back(samplerSection<NetworkSampler, NetworkStats>("network", &printNetwork));
    for (auto& section : makePowerSensorsSections()) sections.push_back(std::move(section));
    return sections;
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

int runSystem(std::vector<SystemSection>& sections, const SystemOptions& options, std::ostream& out,
              std::ostream& errors) {
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
    readAll([](SystemSection& s) { s.first(); });
    std::this_thread::sleep_for(std::chrono::nanoseconds(options.interval.toNanoseconds()));
    readAll([](SystemSection& s) { s.second(); });

    if (options.json) {
        boost::json::object object;
        for (size_t i = 0; i < sections.size(); ++i) {
            if (usable[i]) sections[i].json(object);
        }
        out << boost::json::serialize(object) << "\n";
    } else {
        for (size_t i = 0; i < sections.size(); ++i) {
            if (usable[i]) sections[i].print(out);
        }
    }
    return std::find(usable.begin(), usable.end(), true) == usable.end() ? 1 : 0;
}

}  // namespace orv::cli
