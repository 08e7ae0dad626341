#pragma once

#include <boost/describe/enum.hpp>
#include <string_view>

namespace orv {

// The measurements the history keeps, written as the case name.
enum class Metric {
    cpu,
    memory,
    energy,
    diskRead,
    diskWrite,
    netIn,
    netOut,
    gpu,
    energyImpact,
    cpuTemperature,
    gpuTemperature,
    fanSpeed,
    thermalPressure
};
BOOST_DESCRIBE_ENUM(Metric, cpu, memory, energy, diskRead, diskWrite, netIn, netOut, gpu, energyImpact, cpuTemperature,
                    gpuTemperature, fanSpeed, thermalPressure)

// What a metric's figures count, and so which formatter writes them.
enum class MetricUnit {
    percent,         // 0 to 100 (CPU, GPU use)
    bytes,           // memory in use
    bytesPerSecond,  // disk and network rates
    milliwatts,      // power drawn by the whole machine
    score,           // energy impact, a unitless weight
    celsius,         // temperatures
    rpm,             // fan speed
    level,           // thermal pressure as 0 (nominal) to 3 (critical)
};

// Every metric in declaration order.
inline constexpr Metric allMetrics[] = {
    Metric::cpu,          Metric::memory,         Metric::energy,         Metric::diskRead, Metric::diskWrite,
    Metric::netIn,        Metric::netOut,         Metric::gpu,            Metric::energyImpact,
    Metric::cpuTemperature, Metric::gpuTemperature, Metric::fanSpeed,     Metric::thermalPressure};

// Short display title: "CPU", "Disk write", "Fan speed".
std::string_view metricTitle(Metric metric);
MetricUnit metricUnit(Metric metric);

}  // namespace orv
