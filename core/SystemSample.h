#pragma once

#include <boost/describe/class.hpp>
#include <optional>

#include "core/BatteryStats.h"
#include "core/CPUStats.h"
#include "core/DiskStats.h"
#include "core/Duration.h"
#include "core/GPUStats.h"
#include "core/MemoryStats.h"
#include "core/NetworkStats.h"
#include "core/RecordHash.h"
#include "core/SensorStats.h"
#include "core/ThermalPressure.h"

namespace orv {

// The machine-wide half of one sample. The optional parts are absent on a
// machine without a GPU, a battery or any sensor, and then have no key in
// the JSON form.
struct SystemSample {
    CPUStats cpu;
    MemoryStats memory;
    DiskStats disk;
    NetworkStats network;
    std::optional<GPUStats> gpu;
    std::optional<BatteryStats> battery;
    std::optional<SensorStats> sensors;
    ThermalPressure thermal = ThermalPressure::nominal;
    Duration uptime;  // since the machine booted, sleep included

    friend bool operator==(const SystemSample&, const SystemSample&) = default;
};
BOOST_DESCRIBE_STRUCT(SystemSample, (), (cpu, memory, disk, network, gpu, battery, sensors, thermal, uptime))

}  // namespace orv
