#include "cli/MetricsExposition.h"

#include <fmt/format.h>

#include <boost/describe/enum_to_string.hpp>
#include <cmath>

namespace orv::cli {

namespace {

// An app or process not seen for this many snapshots is dropped, so that
// the series of what exited end instead of growing without bound.
constexpr int64_t forgetAfter = 600;

// One metric family written in either format.
class Family {
public:
    Family(std::string& out, bool openMetrics, std::string name, const char* type, const char* help, const char* unit = nullptr)
        : out_(out), name_(std::move(name)) {
        const bool counter = std::string_view(type) == "counter";
        // OpenMetrics names a counter family without its _total suffix.
        std::string family = name_;
        if (openMetrics && counter && family.ends_with("_total")) family.resize(family.size() - 6);
        out_ += fmt::format("# HELP {} {}\n# TYPE {} {}\n", family, help, family, type);
        if (openMetrics && unit) out_ += fmt::format("# UNIT {} {}\n", family, unit);
    }
    // `labels` is already formatted: `core="0",mode="user"`.
    void sample(const std::string& labels, double value) {
        if (labels.empty()) out_ += fmt::format("{} {}\n", name_, MetricsExposition::number(value));
        else out_ += fmt::format("{}{{{}}} {}\n", name_, labels, MetricsExposition::number(value));
    }

private:
    std::string& out_;
    std::string name_;
};

std::string label(const char* name, const std::string& value) {
    return fmt::format("{}=\"{}\"", name, MetricsExposition::escapeLabel(value));
}

template <class E>
std::string enumName(E value) {
    return boost::describe::enum_to_string(value, "unknown");
}

}  // namespace

std::string MetricsExposition::escapeLabel(const std::string& value) {
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        if (c == '\\') out += "\\\\";
        else if (c == '"') out += "\\\"";
        else if (c == '\n') out += "\\n";
        else out += c;
    }
    return out;
}

std::string MetricsExposition::number(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "+Inf" : "-Inf";
    return fmt::format("{}", value);
}

void MetricsExposition::add(const Snapshot& snapshot) {
    ++added_;
    const double seconds = snapshot.interval.toSeconds() > 0 ? snapshot.interval.toSeconds() : 0;
    const auto& cpu = snapshot.system.cpu;
    const size_t cores = cpu.perCorePercent.size();
    for (auto& mode : coreSeconds_) mode.resize(std::max(mode.size(), cores), 0);
    // A core's busy share splits as the machine's does between user and
    // system (the record keeps the split for the machine only).
    const double busy = cpu.userPercent + cpu.systemPercent;
    const double userShare = busy > 0 ? cpu.userPercent / busy : 0.5;
    for (size_t core = 0; core < cores; ++core) {
        const double used = std::clamp(cpu.perCorePercent[core], 0.0, 100.0) / 100 * seconds;
        coreSeconds_[0][core] += used * userShare;
        coreSeconds_[1][core] += used * (1 - userShare);
        coreSeconds_[2][core] += seconds - used;
    }
    diskReadBytes_ += snapshot.system.disk.readBPS * seconds;
    diskWrittenBytes_ += snapshot.system.disk.writeBPS * seconds;
    networkReceivedBytes_ += snapshot.system.network.inBPS * seconds;
    networkSentBytes_ += snapshot.system.network.outBPS * seconds;

    // An app's share is of the whole machine: cores × interval is 100 %.
    const double machineSeconds = double(std::max<size_t>(cores, 1)) * seconds;
    for (const auto& app : snapshot.apps) {
        AppTotals& totals = apps_[app.app.id];
        totals.name = app.app.name;
        totals.kind = enumName(app.app.kind);
        totals.cpuSeconds += app.cpuPercent / 100 * machineSeconds;
        totals.diskReadBytes += app.diskReadBPS * seconds;
        totals.diskWrittenBytes += app.diskWriteBPS * seconds;
        totals.networkReceivedBytes += app.netInBPS.value_or(0) * seconds;
        totals.networkSentBytes += app.netOutBPS.value_or(0) * seconds;
        totals.lastSeen = added_;
    }
    std::erase_if(apps_, [&](const auto& entry) { return added_ - entry.second.lastSeen > forgetAfter; });
    if (options_.processes) {
        for (const auto& process : snapshot.processes) {
            ProcessTotals& totals = processes_[process.pid];
            if (totals.name != process.name) totals = ProcessTotals{};  // the pid names another process now
            totals.name = process.name;
            totals.app = process.app;
            totals.cpuSeconds += process.cpuPercent / 100 * machineSeconds;
            totals.lastSeen = added_;
        }
        std::erase_if(processes_, [&](const auto& entry) { return entry.second.lastSeen != added_; });
    }
    last_ = snapshot;
}

std::string MetricsExposition::text(bool openMetrics) const {
    std::string out;
    out.reserve(16384);
    auto family = [&](std::string name, const char* type, const char* help, const char* unit = nullptr) {
        return Family(out, openMetrics, std::move(name), type, help, unit);
    };
    if (last_) {
        const SystemSample& system = last_->system;
        {
            auto f = family("orvantine_cpu_seconds_total", "counter", "Time each core spent per mode.", "seconds");
            const char* modes[] = {"user", "system", "idle"};
            for (size_t core = 0; core < coreSeconds_[0].size(); ++core) {
                for (int mode = 0; mode < 3; ++mode) {
                    f.sample(label("core", std::to_string(core)) + "," + label("mode", modes[mode]), coreSeconds_[mode][core]);
                }
            }
        }
        {
            auto f = family("orvantine_cpu_busy_ratio", "gauge", "Busy share of the whole machine over the last interval.");
            f.sample("", system.cpu.totalPercent / 100);
        }
        {
            auto f = family("orvantine_load_average", "gauge", "Run-queue load averages.");
            f.sample(label("period", "1m"), system.cpu.loadAverage.one);
            f.sample(label("period", "5m"), system.cpu.loadAverage.five);
            f.sample(label("period", "15m"), system.cpu.loadAverage.fifteen);
        }
        {
            const auto& m = system.memory;
            auto f = family("orvantine_memory_bytes", "gauge", "Physical memory by category.", "bytes");
            f.sample(label("category", "total"), double(m.totalBytes));
            f.sample(label("category", "used"), double(m.usedBytes));
            f.sample(label("category", "app"), double(m.appBytes));
            f.sample(label("category", "wired"), double(m.wiredBytes));
            f.sample(label("category", "compressed"), double(m.compressedBytes));
            f.sample(label("category", "cached_files"), double(m.cachedFilesBytes));
            auto s = family("orvantine_swap_used_bytes", "gauge", "Swap in use.", "bytes");
            s.sample("", double(m.swapUsedBytes));
            auto p = family("orvantine_memory_pressure", "gauge", "The kernel's memory-pressure level (1 for the current one).");
            for (auto level : {MemoryPressure::normal, MemoryPressure::warning, MemoryPressure::critical}) {
                p.sample(label("level", enumName(level)), m.pressure == level ? 1 : 0);
            }
            auto a = family("orvantine_memory_available_ratio", "gauge", "The kernel's level of available memory.");
            a.sample("", double(m.availableLevel) / 100);
        }
        {
            auto r = family("orvantine_disk_read_bytes_total", "counter", "Bytes read from physical disks.", "bytes");
            r.sample("", diskReadBytes_);
            auto w = family("orvantine_disk_written_bytes_total", "counter", "Bytes written to physical disks.", "bytes");
            w.sample("", diskWrittenBytes_);
            auto size = family("orvantine_volume_size_bytes", "gauge", "Capacity of each mounted volume.", "bytes");
            for (const auto& v : system.disk.volumes) size.sample(label("volume", v.name) + "," + label("id", v.id), double(v.totalBytes));
            auto free = family("orvantine_volume_free_bytes", "gauge", "Space a user may still write on each volume.", "bytes");
            for (const auto& v : system.disk.volumes) free.sample(label("volume", v.name) + "," + label("id", v.id), double(v.freeBytes));
        }
        {
            auto in = family("orvantine_network_receive_bytes_total", "counter", "Bytes received on physical interfaces.", "bytes");
            in.sample("", networkReceivedBytes_);
            auto out2 = family("orvantine_network_transmit_bytes_total", "counter", "Bytes sent on physical interfaces.", "bytes");
            out2.sample("", networkSentBytes_);
            if (system.network.primaryInterface) {
                auto p = family("orvantine_network_primary_interface", "gauge", "The interface traffic to the internet takes (1 for it).");
                p.sample(label("interface", *system.network.primaryInterface), 1);
            }
        }
        if (system.gpu) {
            auto u = family("orvantine_gpu_utilization_ratio", "gauge", "GPU busy share.");
            u.sample(label("gpu", system.gpu->name), system.gpu->utilizationPercent / 100);
            if (system.gpu->memoryInUseBytes) {
                auto m = family("orvantine_gpu_memory_bytes", "gauge", "Memory the GPU holds.", "bytes");
                m.sample(label("gpu", system.gpu->name), double(*system.gpu->memoryInUseBytes));
            }
        }
        if (system.battery) {
            auto level = family("orvantine_battery_level_ratio", "gauge", "Battery charge.");
            level.sample("", system.battery->percent / 100);
            auto charging = family("orvantine_battery_charging", "gauge", "1 while the battery charges.");
            charging.sample("", system.battery->isCharging ? 1 : 0);
            if (system.battery->powerDrawWatts) {
                auto power = family("orvantine_battery_power_watts", "gauge", "Power taken from the battery.", "watts");
                power.sample("", *system.battery->powerDrawWatts);
            }
        }
        if (system.sensors) {
            auto t = family("orvantine_temperature_celsius", "gauge", "Temperature sensors.", "celsius");
            for (const auto& reading : system.sensors->temperatures) {
                t.sample(label("sensor", reading.id) + "," + label("name", reading.name), reading.celsius);
            }
            auto fans = family("orvantine_fan_rpm", "gauge", "Fan speeds.");
            for (const auto& fan : system.sensors->fans) fans.sample(label("fan", std::to_string(fan.id)), fan.rpm);
        }
        {
            auto t = family("orvantine_thermal_pressure", "gauge", "The thermal-pressure level (1 for the current one).");
            for (auto level : {ThermalPressure::nominal, ThermalPressure::fair, ThermalPressure::serious, ThermalPressure::critical}) {
                t.sample(label("level", enumName(level)), system.thermal == level ? 1 : 0);
            }
        }
        // Apps present in the last snapshot, their counters kept while they
        // come and go.
        auto appLabels = [&](const std::string& id, const AppTotals& totals) {
            return label("app", id) + "," + label("name", totals.name) + "," + label("kind", totals.kind);
        };
        {
            auto cpu = family("orvantine_app_cpu_seconds_total", "counter", "CPU time of each app's processes.", "seconds");
            for (const auto& [id, t] : apps_) cpu.sample(appLabels(id, t), t.cpuSeconds);
            auto read = family("orvantine_app_disk_read_bytes_total", "counter", "Bytes each app read from disk.", "bytes");
            for (const auto& [id, t] : apps_) read.sample(appLabels(id, t), t.diskReadBytes);
            auto written = family("orvantine_app_disk_written_bytes_total", "counter", "Bytes each app wrote to disk.", "bytes");
            for (const auto& [id, t] : apps_) written.sample(appLabels(id, t), t.diskWrittenBytes);
            auto received = family("orvantine_app_network_receive_bytes_total", "counter", "Bytes each app received.", "bytes");
            for (const auto& [id, t] : apps_) received.sample(appLabels(id, t), t.networkReceivedBytes);
            auto sent = family("orvantine_app_network_transmit_bytes_total", "counter", "Bytes each app sent.", "bytes");
            for (const auto& [id, t] : apps_) sent.sample(appLabels(id, t), t.networkSentBytes);
        }
        {
            auto memory = family("orvantine_app_memory_bytes", "gauge", "Footprint of each app's processes.", "bytes");
            auto processes = family("orvantine_app_processes", "gauge", "Processes of each app.");
            auto impact = family("orvantine_app_energy_impact", "gauge", "Each app's energy impact score.");
            for (const auto& app : last_->apps) {
                const auto& t = apps_.at(app.app.id);
                memory.sample(appLabels(app.app.id, t), double(app.memoryBytes));
                processes.sample(appLabels(app.app.id, t), double(app.processCount));
                if (app.energyImpact) impact.sample(appLabels(app.app.id, t), *app.energyImpact);
            }
        }
        if (options_.processes) {
            auto cpu = family("orvantine_process_cpu_seconds_total", "counter", "CPU time of each process.", "seconds");
            for (const auto& [pid, t] : processes_) {
                cpu.sample(label("pid", std::to_string(pid)) + "," + label("name", t.name) + "," + label("app", t.app), t.cpuSeconds);
            }
            auto memory = family("orvantine_process_memory_bytes", "gauge", "Footprint of each process.", "bytes");
            for (const auto& p : last_->processes) {
                memory.sample(label("pid", std::to_string(p.pid)) + "," + label("name", p.name) + "," + label("app", p.app),
                              double(p.footprintBytes));
            }
        }
    }
    if (openMetrics) out += "# EOF\n";
    return out;
}

}  // namespace orv::cli
