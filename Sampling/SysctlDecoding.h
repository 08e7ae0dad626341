#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace orv {

// Decoding of sysctl answers; the calls themselves are in SysctlReader.
struct SysctlDecoding {
    // An integer read with an 8-byte buffer: a 4-byte answer is a signed
    // 32-bit value (most hw.* and kern.* integers are `int`), anything else
    // the 64-bit value of the buffer.
    static int64_t integer(std::span<const uint8_t, 8> buffer, size_t length);

    // hw.memsize is only trusted as exactly 8 bytes; absent otherwise.
    static std::optional<uint64_t> exactUInt64(std::span<const uint8_t> bytes);

    // The bytes before the first zero byte; absent when they are not UTF-8.
    static std::optional<std::string> string(std::span<const uint8_t> buffer);

    // vm.swapusage is struct xsw_usage from <sys/sysctl.h>, 32 bytes:
    // xsu_total, xsu_avail, xsu_used (u_int64_t each), xsu_pagesize
    // (u_int32_t), xsu_encrypted (boolean_t). Absent unless exactly 32 bytes.
    static constexpr size_t swapUsageSize = 32;
    static constexpr size_t swapUsedOffset = 16;
    static std::optional<uint64_t> swapUsed(std::span<const uint8_t> bytes);
};

// True when `bytes` is well-formed UTF-8.
bool isValidUTF8(std::span<const uint8_t> bytes);

}  // namespace orv
