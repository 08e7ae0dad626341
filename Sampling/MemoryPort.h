#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "core/MemoryPressure.h"
#include "core/VMPageCounts.h"

namespace orv {

// The platform's reads for MemorySampler: host statistics and sysctl on
// macOS, proc/meminfo and proc/pressure/memory on Linux, fakes in tests.
// Within one sample the sampler asks for the page counts first, then swap,
// pressure and the available level, so a port may read one file for all.
class MemoryPort {
public:
    virtual ~MemoryPort() = default;

    // Bytes per page; never fails (the port has its own fallbacks).
    virtual uint64_t pageSize() = 0;
    // Physical memory; throws SamplingError.
    virtual uint64_t physicalMemory() = 0;
    // What the process is told of physical memory, when the above fails.
    virtual uint64_t fallbackPhysicalMemory() = 0;

    // Throws SamplingError.
    virtual VMPageCounts readPageCounts() = 0;
    // Swap in use, in bytes; throws SamplingError.
    virtual uint64_t readSwapUsed() = 0;
    // Never fails: an unreadable level is normal.
    virtual MemoryPressure readPressure() = 0;
    // The level of available memory, not yet clamped; never fails (an
    // unreadable level is 100).
    virtual int64_t readAvailableLevel() = 0;
};

// The platform's port. On Linux it reads below `root`; macOS ignores it.
std::unique_ptr<MemoryPort> makeMemoryPort(const std::filesystem::path& root = "/");

}  // namespace orv
