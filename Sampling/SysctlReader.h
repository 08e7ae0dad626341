#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Result.h"
#include "core/SamplingError.h"

namespace orv {

// Reads of kernel values by sysctl name. They exist on macOS only (Linux
// has no sysctlbyname); the Linux ports read files instead. A failing call
// is SamplingError::sysctl with the name asked for and errno; the caller
// decides whether that ends its read (`.value()` throws it) or falls back.
struct SysctlReader {
    // An 8-byte read; a 4-byte answer is taken as a signed 32-bit value.
    static Result<int64_t, SamplingError> integer(const std::string& name);
    // The length first, then the value; the bytes before the first zero as
    // UTF-8 (EILSEQ when they are not).
    static Result<std::string, SamplingError> string(const std::string& name);
    // An unsigned 64-bit value that must come back as exactly 8 bytes
    // (EINVAL otherwise), as hw.memsize does.
    static Result<uint64_t, SamplingError> exactUInt64(const std::string& name);
    // The raw bytes of a fixed-size structure of `size` bytes.
    static Result<std::vector<uint8_t>, SamplingError> bytes(const std::string& name, size_t size);
};

}  // namespace orv
