#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "Sampling/CPULoadMath.h"
#include "core/CPUTicks.h"
#include "core/CPUTopology.h"
#include "core/LoadAverage.h"

namespace orv {

// The platform's reads for CPUSampler: host_processor_info, sysctl and the
// I/O Registry on macOS; proc/stat and sysfs on Linux; fakes in tests.
class CPUPort {
public:
    virtual ~CPUPort() = default;

    // Cumulative ticks of every logical core in the kernel's core order.
    // Throws SamplingError when the kernel refuses.
    virtual std::vector<CPUTicks> readTicks() = 0;

    // Which cores belong to which performance level; asked when the sampler
    // is made and again when the online cores change. Never fails (its
    // fallbacks log).
    virtual CPUTopology readTopology() = 0;

    // The kernel's numbers of the cores the last readTicks (or readTopology)
    // listed, in the same order; absent where the set of cores never
    // changes while the system runs (macOS).
    virtual std::optional<std::vector<int64_t>> lastCoreNumbers() const { return std::nullopt; }

    // How the kernel keeps the tick counters.
    virtual CPULoadMath::CounterWidth counterWidth() const { return CPULoadMath::CounterWidth::wrapping32; }

    // The 1-, 5- and 15-minute load averages; absent when unavailable.
    virtual std::optional<LoadAverage> readLoadAverage() = 0;
};

// The platform's port. On Linux it reads below `root`; macOS ignores it.
std::unique_ptr<CPUPort> makeCPUPort(const std::filesystem::path& root = "/");

}  // namespace orv
