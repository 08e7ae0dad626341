#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "core/VMPageCounts.h"

namespace orv {

// The lines of Linux's proc/meminfo the memory figures use, in bytes.
struct Meminfo {
    uint64_t memTotal = 0;
    uint64_t memFree = 0;
    std::optional<uint64_t> memAvailable;  // since Linux 3.14
    uint64_t anonPages = 0;
    uint64_t shmem = 0;
    uint64_t unevictable = 0;
    uint64_t mlocked = 0;
    uint64_t sReclaimable = 0;
    uint64_t sUnreclaim = 0;
    uint64_t kernelStack = 0;
    uint64_t pageTables = 0;
    uint64_t secPageTables = 0;  // since Linux 6.0
    uint64_t zswap = 0;  // 0 where the kernel has no Zswap line
    uint64_t activeFile = 0;
    uint64_t inactiveFile = 0;
    uint64_t swapTotal = 0;
    uint64_t swapFree = 0;
    uint64_t hugePagesTotal = 0;  // a count of pages, not bytes
    uint64_t hugePageSize = 0;    // Hugepagesize, in bytes

    // Absent when there is no MemTotal line or a wanted line is garbage.
    static std::optional<Meminfo> decode(std::string_view text);

    // The macOS categories from Linux's, made to add up to MemTotal:
    //   anonymous   = AnonPages + Shmem (shared memory is anonymous too);
    //   compressor  = Zswap + `zramBytes` (the compressed pools' own memory);
    //   file-backed = Active(file) + Inactive(file) + SReclaimable: the page
    //                 cache (buffers included; shmem is already anonymous)
    //                 and the slab the kernel gives back under pressure, so
    //                 "cached" is free(1)'s buff/cache less Shmem;
    //   wired       = max(Unevictable − Mlocked, 0) + SUnreclaim + KernelStack
    //                 + PageTables + SecPageTables + HugePages_Total ×
    //                 Hugepagesize, or what MemTotal leaves after MemFree and
    //                 the other three when that is more: memory the kernel
    //                 does not itemise (per-cpu areas, vmalloc, drivers) is
    //                 held as firmly as wired memory.
    // Mlocked pages are left out of wired because Unevictable counts them
    // and so do AnonPages or the file cache. No purgeable pool. Bytes are
    // turned into pages of `pageSize`, rounding down.
    VMPageCounts pageCounts(uint64_t pageSize, uint64_t zramBytes = 0) const;

    // The wired bytes the kernel itemises (the first form above).
    uint64_t itemisedWired() const;

    // SwapTotal − SwapFree, never below 0.
    uint64_t swapUsed() const { return swapTotal > swapFree ? swapTotal - swapFree : 0; }
};

// A zram device's sys/block/zramN/mm_stat: its third number, mem_used_total,
// is the memory the compressed pages occupy (Documentation/admin-guide/
// blockdev/zram.rst).
struct ZramMmStat {
    uint64_t memUsedTotal = 0;

    // Absent when the line has fewer than three numbers.
    static std::optional<ZramMmStat> decode(std::string_view text);
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
