#include <gtest/gtest.h>

#include "Sampling/MeminfoDecoding.h"

namespace orv {
namespace {

const char* const withZswap =
    "MemTotal:       16000000 kB\nMemFree:         1000000 kB\nMemAvailable:    8000000 kB\n"
    "Active(file):     300000 kB\nInactive(file):   100000 kB\nUnevictable:        4000 kB\n"
    "SwapTotal:       2000000 kB\nSwapFree:        1500000 kB\nZswap:             40000 kB\n"
    "AnonPages:       2000000 kB\nShmem:             96000 kB\nSUnreclaim:         8000 kB\n"
    "KernelStack:       12000 kB\nPageTables:        16000 kB\nHugePages_Total:       0\n";

TEST(Meminfo, DecodesTheWantedLinesInBytes) {
    auto info = Meminfo::decode(withZswap);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->memTotal, 16000000ull * 1024);
    EXPECT_EQ(info->memAvailable, 8000000ull * 1024);
    EXPECT_EQ(info->zswap, 40000ull * 1024);
    EXPECT_EQ(info->swapUsed(), 500000ull * 1024);
}

TEST(Meminfo, MapsLinuxCategoriesToPages) {
    auto pages = Meminfo::decode(withZswap)->pageCounts(4096);
    EXPECT_EQ(pages.internalPages, (2000000ull + 96000) * 1024 / 4096);
    EXPECT_EQ(pages.compressorPages, 40000ull * 1024 / 4096);
    EXPECT_EQ(pages.externalPages, 400000ull * 1024 / 4096);
    EXPECT_EQ(pages.purgeablePages, 0u);
    // Everything MemTotal holds beyond the free and the itemised categories
    // is held by the kernel: wired.
    EXPECT_EQ(pages.wiredPages, (16000000ull - 1000000 - 2096000 - 40000 - 400000) * 1024 / 4096);
}

// A meminfo whose lines add up exactly: MemTotal = MemFree + AnonPages +
// Shmem + Active(file) + Inactive(file) + SReclaimable + the itemised wired
// part, where Unevictable holds 3,000 kB of mlocked anonymous memory that
// AnonPages already counts.
const char* const addsUp =
    "MemTotal:        1000296 kB\nMemFree:          500000 kB\nAnonPages:        200000 kB\n"
    "Shmem:             10000 kB\nActive(file):     100000 kB\nInactive(file):    50000 kB\n"
    "SReclaimable:      40000 kB\nUnevictable:        4000 kB\nMlocked:            3000 kB\n"
    "SUnreclaim:        30000 kB\nKernelStack:        5000 kB\nPageTables:         8000 kB\n"
    "SecPageTables:      1000 kB\nHugePages_Total:      27\nHugepagesize:       2048 kB\n"
    "Zswap:                 0 kB\n";

TEST(Meminfo, MlockedMemoryIsNotCountedTwice) {
    auto info = Meminfo::decode(addsUp);
    ASSERT_TRUE(info);
    // 1,000 kB of Unevictable is not mlocked; the huge pages are reserved.
    const uint64_t wired = (1000ull + 30000 + 5000 + 8000 + 1000 + 27 * 2048) * 1024;
    EXPECT_EQ(info->itemisedWired(), wired);
    auto pages = info->pageCounts(1024);
    EXPECT_EQ(pages.wiredPages, wired / 1024);
    const uint64_t sum = pages.internalPages + pages.wiredPages + pages.compressorPages + pages.externalPages;
    EXPECT_EQ(sum * 1024 + info->memFree, info->memTotal);
}

TEST(Meminfo, ReservedHugePagesAreWired) {
    auto info = Meminfo::decode("MemTotal: 8388608 kB\nMemFree: 0 kB\nHugePages_Total: 1024\nHugepagesize: 2048 kB\n"
                                "AnonPages: 6291456 kB\n");
    ASSERT_TRUE(info);
    EXPECT_EQ(info->hugePagesTotal, 1024u);
    EXPECT_EQ(info->hugePageSize, 2048u * 1024);
    EXPECT_EQ(info->itemisedWired(), 2ull << 30);
    EXPECT_EQ(info->pageCounts(4096).wiredPages, (2ull << 30) / 4096);
}

TEST(Meminfo, ReclaimableSlabIsCachedNotUsed) {
    auto info = Meminfo::decode(addsUp);
    EXPECT_EQ(info->pageCounts(1024).externalPages, 100000u + 50000 + 40000);
}

TEST(Meminfo, ZramPoolIsCompressedMemory) {
    auto info = Meminfo::decode(addsUp);
    auto pages = info->pageCounts(1024, 64ull << 20);
    EXPECT_EQ(pages.compressorPages, 64u * 1024);
}

// This machine's own meminfo, the one where "used" read 71 MB while
// htop's rule gave 123 MB: 79 MB of memory the kernel does not itemise
// must not vanish.
const char* const unitemised =
    "MemTotal:       24684092 kB\nMemFree:        22112784 kB\nMemAvailable:   24208272 kB\n"
    "Buffers:            8224 kB\nCached:          2141740 kB\nActive(file):    1211484 kB\n"
    "Inactive(file):   929624 kB\nUnevictable:       13028 kB\nMlocked:           12152 kB\n"
    "AnonPages:         10488 kB\nShmem:              8856 kB\nSReclaimable:     281128 kB\n"
    "SUnreclaim:        46908 kB\nKernelStack:        1348 kB\nPageTables:         1616 kB\n"
    "SecPageTables:         0 kB\nHugePages_Total:       0\nHugepagesize:       2048 kB\n";

TEST(Meminfo, CategoriesAddUpToTheTotal) {
    auto info = Meminfo::decode(unitemised);
    ASSERT_TRUE(info);
    auto pages = info->pageCounts(4096);
    const uint64_t sum =
        (pages.internalPages + pages.wiredPages + pages.compressorPages + pages.externalPages) * 4096 + info->memFree;
    EXPECT_NEAR(double(sum), double(info->memTotal), double(info->memTotal) * 0.01);
    // Used (everything but free and cache) as htop counts it: total − free
    // − buffers − page cache less shmem − reclaimable slab.
    const uint64_t used = (pages.internalPages + pages.wiredPages + pages.compressorPages) * 4096;
    const uint64_t htop = (24684092ull - 22112784 - 8224 - (2141740 - 8856) - 281128) * 1024;
    EXPECT_NEAR(double(used), double(htop), double(info->memTotal) * 0.01);
}

TEST(ZramMmStat, TheThirdNumberIsThePoolsMemory) {
    auto stat = ZramMmStat::decode("  4096000   1024000   1200000        0  1300000        0        0        0        0\n");
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->memUsedTotal, 1200000u);
    EXPECT_FALSE(ZramMmStat::decode("1 2\n"));
    EXPECT_FALSE(ZramMmStat::decode("1 2 x\n"));
}

TEST(Meminfo, WithoutZswapTheCompressorIsEmpty) {
    auto info = Meminfo::decode("MemTotal: 1000 kB\nAnonPages: 400 kB\n");
    ASSERT_TRUE(info);
    EXPECT_EQ(info->pageCounts(4096).compressorPages, 0u);
    EXPECT_FALSE(info->memAvailable);
}

TEST(Meminfo, SwapFreeAboveTotalIsNoSwapUsed) {
    auto info = Meminfo::decode("MemTotal: 1000 kB\nSwapTotal: 10 kB\nSwapFree: 20 kB\n");
    EXPECT_EQ(info->swapUsed(), 0u);
}

TEST(Meminfo, MissingTotalOrGarbageIsAbsent) {
    EXPECT_FALSE(Meminfo::decode("MemFree: 10 kB\n"));
    EXPECT_FALSE(Meminfo::decode("MemTotal: lots kB\n"));
    EXPECT_FALSE(Meminfo::decode("MemTotal: 1000 kB\nAnonPages: x\n"));
    EXPECT_FALSE(Meminfo::decode(""));
}

TEST(MemoryStall, DecodesBothTenSecondAverages) {
    auto stall = MemoryStall::decode("some avg10=12.50 avg60=3.00 avg300=1.00 total=99\n"
                                     "full avg10=2.25 avg60=1.00 avg300=0.50 total=50\n");
    ASSERT_TRUE(stall);
    EXPECT_DOUBLE_EQ(stall->someAvg10, 12.5);
    EXPECT_DOUBLE_EQ(stall->fullAvg10, 2.25);
}

TEST(MemoryStall, MissingLineOrGarbageIsAbsent) {
    EXPECT_FALSE(MemoryStall::decode("some avg10=1.00 avg60=0 avg300=0 total=0\n"));
    EXPECT_FALSE(MemoryStall::decode("some avg10=x avg60=0\nfull avg10=1 avg60=0\n"));
    EXPECT_FALSE(MemoryStall::decode(""));
}

}  // namespace
}  // namespace orv
