#include "cli/PowerSensorsReport.h"

#include <fmt/format.h>
#include <fmt/ostream.h>

#include <boost/describe/enum_to_string.hpp>
#include <memory>
#include <ostream>

#include "cli/Format.h"
#include "core/Formatters.h"

namespace orv::cli {

namespace {

// A section whose record is read once, on the second pass, into `field`:
// none of these figures are rates, so the first pass has nothing to do.
template <class Record>
SystemSection onceSection(std::string key, std::function<std::optional<Record>()> read,
                          std::optional<Record> SystemSample::*field,
                          void (*print)(const std::optional<Record>&, std::ostream&)) {
    SystemSection section;
    section.key = std::move(key);
    section.first = [] {};
    section.second = [read = std::move(read), field](SystemSample& sample) { sample.*field = read(); };
    section.print = [field, print](const SystemSample& sample, std::ostream& out) { print(sample.*field, out); };
    return section;
}

const char* kindName(PeripheralBattery::Kind kind) { return boost::describe::enum_to_string(kind, "other"); }

}  // namespace

std::vector<SystemSection> makePowerSensorsSections(const SnapshotBuilder::Parts& parts,
                                                    std::vector<BluetoothBatteries::Reading> peripherals) {
    std::vector<SystemSection> sections;

    auto battery = parts.battery;
    sections.push_back(onceSection<BatteryStats>(
        "battery", [battery]() -> std::optional<BatteryStats> { return battery ? battery() : std::nullopt; },
        &SystemSample::battery, &printBattery));

    auto gpu = parts.gpu;
    sections.push_back(onceSection<GPUStats>(
        "gpu", [gpu]() -> std::optional<GPUStats> { return gpu ? gpu->stats() : std::nullopt; }, &SystemSample::gpu,
        &printGPU));

    SystemSection thermal;
    thermal.key = "thermal";
    thermal.first = [] {};
    thermal.second = [read = parts.thermal](SystemSample& sample) {
        sample.thermal = read ? read() : ThermalPressure::nominal;
    };
    thermal.print = [](const SystemSample& sample, std::ostream& out) { printThermal(sample.thermal, out); };
    sections.push_back(std::move(thermal));

    auto sensors = parts.sensors;
    auto readings = std::make_shared<std::vector<BluetoothBatteries::Reading>>(std::move(peripherals));
    sections.push_back(onceSection<SensorStats>(
        "sensors",
        [sensors, readings]() -> std::optional<SensorStats> {
            return sensors ? sensors(*readings) : std::nullopt;
        },
        &SystemSample::sensors, &printSensors));
    return sections;
}

void printBattery(const std::optional<BatteryStats>& stats, std::ostream& out) {
    if (!stats) {
        fmt::print(out, "Battery  none\n");
        return;
    }
    bool onAC = stats->source == BatteryStats::PowerSource::ac;
    fmt::print(out, "Battery  {} % on {}, {}", Formatters::number(stats->percent, 0), onAC ? "AC power" : "battery",
               stats->isCharging ? "charging" : "not charging");
    if (stats->timeRemaining) {
        fmt::print(out, ", {} {}", formatHoursMinutes(*stats->timeRemaining), onAC ? "to full" : "left");
    }
    fmt::print(out, "\n");
    std::string details;
    if (stats->cycleCount) details += fmt::format("  cycles {}", *stats->cycleCount);
    if (stats->maxCapacityPercent) details += fmt::format("  health {}", formatPercentSign(*stats->maxCapacityPercent));
    if (stats->powerDrawWatts) details += fmt::format("  draw {}", Formatters::power(*stats->powerDrawWatts * 1000));
    if (!details.empty()) fmt::print(out, " {}\n", details);
}

void printGPU(const std::optional<GPUStats>& stats, std::ostream& out) {
    if (!stats) {
        fmt::print(out, "GPU      none\n");
        return;
    }
    fmt::print(out, "GPU      {} {} busy", stats->name, formatPercentSign(stats->utilizationPercent));
    if (stats->memoryInUseBytes) fmt::print(out, ", {} in use", formatBytes(*stats->memoryInUseBytes));
    fmt::print(out, "\n");
}

void printThermal(ThermalPressure pressure, std::ostream& out) {
    fmt::print(out, "Thermal  {}\n", boost::describe::enum_to_string(pressure, "nominal"));
}

void printSensors(const std::optional<SensorStats>& stats, std::ostream& out) {
    if (!stats) {
        fmt::print(out, "Sensors  none (no temperature sensors, fans or Bluetooth peripherals)\n");
        return;
    }
    fmt::print(out, "Sensors  {} temperatures, {} fans, {} peripheral batteries\n", stats->temperatures.size(),
               stats->fans.size(), stats->peripherals.size());
    for (const auto& t : stats->temperatures) fmt::print(out, "  {:<28} {}\n", t.name, Formatters::temperature(t.celsius));
    for (const auto& f : stats->fans) {
        fmt::print(out, "  fan {:<24} {} rpm", f.id, Formatters::number(f.rpm, 0));
        if (f.minRPM && f.maxRPM) {
            fmt::print(out, " ({} to {})", Formatters::number(*f.minRPM, 0), Formatters::number(*f.maxRPM, 0));
        }
        fmt::print(out, "\n");
    }
    for (const auto& p : stats->peripherals) {
        fmt::print(out, "  {:<28} {} %  ({}, {})\n", p.name, Formatters::number(p.percent, 0), kindName(p.kind), p.id);
    }
}

}  // namespace orv::cli
