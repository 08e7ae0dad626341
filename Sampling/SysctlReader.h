#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orv {

// Reads of kernel values by sysctl name. They exist on macOS only (Linux
// has no sysctlbyname); the Linux ports read files instead. Every failing
// call throws SamplingError::sysctl with the name asked for and errno.
struct SysctlReader {
    // An 8-byte read; a 4-byte answer is taken as a signed 32-bit value.
    static int64_t integer(const std::string& name);
    // The length first, then the value; the bytes before the first zero as
    // UTF-8 (EILSEQ when they are not).
    static std::string string(const std::string& name);
    // An unsigned 64-bit value that must come back as exactly 8 bytes
    // (EINVAL otherwise), as hw.memsize does.
    static uint64_t exactUInt64(const std::string& name);
    // The raw bytes of a fixed-size structure of `size` bytes.
    static std::vector<uint8_t> bytes(const std::string& name, size_t size);
};

}  // namespace orv
