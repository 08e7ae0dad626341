#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "core/MemoryPressure.h"
#include "core/Result.h"
#include "core/SamplingError.h"
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
    // Physical memory; the error when the kernel will not tell, and the
    // sampler falls back.
    virtual Result<uint64_t, SamplingError> physicalMemory() = 0;
    // What the process is told of physical memory, when the above fails.
    virtual uint64_t fallbackPhysicalMemory() = 0;

    // The sampler's primary read; throws SamplingError.
    virtual VMPageCounts readPageCounts() = 0;
    // Swap in use, in bytes; the error when it cannot be read, and the
    // sampler tells 0.
    virtual Result<uint64_t, SamplingError> readSwapUsed() = 0;
    // Never fails: an unreadable level is normal.
    virtual MemoryPressure readPressure() = 0;
    // The level of available memory, not yet clamped; never fails (an
    // unreadable level is 100).
    virtual int64_t readAvailableLevel() = 0;
};

// The platform's port. On Linux it reads below `root`; macOS ignores it.
std::unique_ptr<MemoryPort> makeMemoryPort(const std::filesystem::path& root = "/");

}  // namespace orv
