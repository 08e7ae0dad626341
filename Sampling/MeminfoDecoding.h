#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/VMPageCounts.h"

namespace orv {

// The lines of Linux's proc/meminfo the memory figures use, in bytes.
struct Meminfo {
    uint64_t memTotal = 0;
    std::optional<uint64_t> memAvailable;  // since Linux 3.14
    uint64_t anonPages = 0;
    uint64_t shmem = 0;
    uint64_t unevictable = 0;
    uint64_t sUnreclaim = 0;
    uint64_t kernelStack = 0;
    uint64_t pageTables = 0;
    uint64_t zswap = 0;  // 0 where the kernel has no Zswap line
    uint64_t activeFile = 0;
    uint64_t inactiveFile = 0;
    uint64_t swapTotal = 0;
    uint64_t swapFree = 0;

    // Absent when there is no MemTotal line or a wanted line is garbage.
    static std::optional<Meminfo> decode(std::string_view text);

    // The macOS categories from Linux's: anonymous = AnonPages + Shmem
    // (shared memory is anonymous too), wired = Unevictable + SUnreclaim +
    // KernelStack + PageTables, compressor = Zswap, file-backed =
    // Active(file) + Inactive(file), and no purgeable pool. Bytes are
    // turned into pages of `pageSize`, rounding down.
    VMPageCounts pageCounts(uint64_t pageSize) const;

    // SwapTotal − SwapFree, never below 0.
    uint64_t swapUsed() const { return swapTotal > swapFree ? swapTotal - swapFree : 0; }
};

// The 10-second averages of proc/pressure/memory (pressure stall
// information), in percent of wall time.
struct MemoryStall {
    double someAvg10 = 0;  // some task waited on memory
    double fullAvg10 = 0;  // every non-idle task waited at once

    // Absent unless both the "some" and the "full" line carry an avg10.
    static std::optional<MemoryStall> decode(std::string_view text);
};

}  // namespace orv
