#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

// Decoders of sysctl answers; the calls themselves are in SysctlReader.
namespace orv {

// An integer read with an 8-byte buffer: a 4-byte answer is a signed 32-bit
// value (most hw.* and kern.* integers are `int`), anything else the 64-bit
// value of the buffer.
struct SysctlInteger {
    static int64_t decode(std::span<const uint8_t, 8> buffer, size_t length);
};

// A 64-bit answer such as hw.memsize, only trusted as exactly 8 bytes;
// absent otherwise.
struct SysctlUInt64 {
    static std::optional<uint64_t> decode(std::span<const uint8_t> bytes);
};

// A string answer: the bytes before the first zero byte; absent when they
// are not UTF-8.
struct SysctlString {
    static std::optional<std::string> decode(std::span<const uint8_t> buffer);
};

// vm.swapusage is struct xsw_usage from <sys/sysctl.h>, 32 bytes:
// xsu_total, xsu_avail, xsu_used (u_int64_t each), xsu_pagesize
// (u_int32_t), xsu_encrypted (boolean_t).
struct SwapUsage {
    static constexpr size_t size = 32;
    static constexpr size_t usedOffset = 16;  // xsu_used

    // The bytes of swap in use; absent unless the answer is exactly 32 bytes.
    static std::optional<uint64_t> decode(std::span<const uint8_t> bytes);
};

}  // namespace orv
