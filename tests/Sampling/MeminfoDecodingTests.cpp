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
    EXPECT_EQ(pages.wiredPages, (4000ull + 8000 + 12000 + 16000) * 1024 / 4096);
    EXPECT_EQ(pages.compressorPages, 40000ull * 1024 / 4096);
    EXPECT_EQ(pages.externalPages, 400000ull * 1024 / 4096);
    EXPECT_EQ(pages.purgeablePages, 0u);
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
