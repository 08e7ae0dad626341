#include "core/Metric.h"

namespace orv {

std::string_view metricTitle(Metric metric) {
    switch (metric) {
        case Metric::cpu: return "CPU";
        case Metric::memory: return "Memory";
        case Metric::energy: return "Power";
        case Metric::diskRead: return "Disk read";
        case Metric::diskWrite: return "Disk write";
        case Metric::netIn: return "Network in";
        case Metric::netOut: return "Network out";
        case Metric::gpu: return "GPU";
        case Metric::energyImpact: return "Energy impact";
        case Metric::cpuTemperature: return "CPU temperature";
        case Metric::gpuTemperature: return "GPU temperature";
        case Metric::fanSpeed: return "Fan speed";
        case Metric::thermalPressure: return "Thermal pressure";
    }
    return {};
}

MetricUnit metricUnit(Metric metric) {
    switch (metric) {
        case Metric::cpu:
        case Metric::gpu: return MetricUnit::percent;
        case Metric::memory: return MetricUnit::bytes;
        case Metric::energy: return MetricUnit::milliwatts;
        case Metric::diskRead:
        case Metric::diskWrite:
        case Metric::netIn:
        case Metric::netOut: return MetricUnit::bytesPerSecond;
        case Metric::energyImpact: return MetricUnit::score;
        case Metric::cpuTemperature:
        case Metric::gpuTemperature: return MetricUnit::celsius;
        case Metric::fanSpeed: return MetricUnit::rpm;
        case Metric::thermalPressure: return MetricUnit::level;
    }
    return MetricUnit::score;
}

}  // namespace orv
