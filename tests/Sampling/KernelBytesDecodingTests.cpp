#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "Sampling/ProcStatDecoding.h"
#include "Sampling/ProcessorTickDecoding.h"
#include "Sampling/SysctlDecoding.h"
#include "core/Utf8.h"

namespace orv {
namespace {

TEST(ProcStatCore, FoldsTheColumnsIntoFourCounters) {
    auto cores = ProcStatCore::decodeAll(
        "cpu  10 20 30 40 50 60 70 80 90 100\n"
        "cpu0 1 2 3 4 5 6 7 8 9 10\n"
        "cpu1 100 0 50 1000 25 5 5 9 9 0\n"
        "intr 1 2 3\nctxt 5\n");
    ASSERT_TRUE(cores);
    ASSERT_EQ(cores->size(), 2u);
    EXPECT_EQ((*cores)[0], (ProcStatCore{0, CPUTicks{1, 3 + 6 + 7, 4 + 5 + 8, 2}}));
    EXPECT_EQ((*cores)[1], (ProcStatCore{1, CPUTicks{100, 60, 1000 + 25 + 9, 0}}));
}

TEST(ProcStatCore, KeepsTheKernelsCoreNumbers) {
    auto cores = ProcStatCore::decodeAll("cpu 0 0 0 0\ncpu0 1 1 1 1\ncpu2 2 2 2 2\n");
    ASSERT_TRUE(cores);
    EXPECT_EQ((*cores)[1].number, 2);
}

TEST(ProcStatCore, OldKernelsFourColumnsAreEnough) {
    auto cores = ProcStatCore::decodeAll("cpu0 1 2 3 4");
    ASSERT_TRUE(cores);
    EXPECT_EQ((*cores)[0].ticks, (CPUTicks{1, 3, 4, 2}));
}

TEST(ProcStatCore, TruncatedOrGarbageLinesAreAbsence) {
    EXPECT_FALSE(ProcStatCore::decodeAll("cpu0 1 2\n"));
    EXPECT_FALSE(ProcStatCore::decodeAll("cpu0 1 x 3 4\n"));
    EXPECT_FALSE(ProcStatCore::decodeAll("intr 5\n"));
    EXPECT_FALSE(ProcStatCore::decodeAll(""));
}

TEST(ProcessorLoadInfo, ReadsUserSystemIdleNicePerProcessor) {
    std::array<uint32_t, 8> words{10, 20, 30, 40, 0xFFFFFFFFu, 2, 3, 4};
    auto ticks = ProcessorLoadInfo::decode(words, 2);
    ASSERT_TRUE(ticks);
    EXPECT_EQ((*ticks)[0], (CPUTicks{10, 20, 30, 40}));
    EXPECT_EQ((*ticks)[1], (CPUTicks{0xFFFFFFFFull, 2, 3, 4}));
}

TEST(ProcessorLoadInfo, ShortArrayIsAbsence) {
    std::array<uint32_t, 7> words{};
    EXPECT_FALSE(ProcessorLoadInfo::decode(words, 2));
    EXPECT_EQ(ProcessorLoadInfo::decode(words, 0)->size(), 0u);
}

TEST(SysctlInteger, FourByteAnswerIsSigned32Bit) {
    std::array<uint8_t, 8> buffer{};
    int32_t value = -5;
    std::memcpy(buffer.data(), &value, 4);
    buffer[4] = 0xAB;  // left over, not part of the answer
    EXPECT_EQ(SysctlInteger::decode(buffer, 4), -5);
}

TEST(SysctlInteger, EightByteAnswerIs64Bit) {
    std::array<uint8_t, 8> buffer{};
    int64_t value = 0x1234567890LL;
    std::memcpy(buffer.data(), &value, 8);
    EXPECT_EQ(SysctlInteger::decode(buffer, 8), 0x1234567890LL);
}

TEST(SysctlString, StringStopsAtTheFirstZero) {
    const uint8_t bytes[] = {'P', 'e', 'r', 'f', 0, 'x', 0};
    EXPECT_EQ(SysctlString::decode(bytes), "Perf");
    const uint8_t invalid[] = {0xC3, 0x28, 0};
    EXPECT_FALSE(SysctlString::decode(invalid));
}

TEST(SysctlUInt64, MemsizeMustBeEightBytes) {
    uint64_t size = 17179869184ull;
    uint8_t bytes[8];
    std::memcpy(bytes, &size, 8);
    EXPECT_EQ(SysctlUInt64::decode(bytes), size);
    EXPECT_FALSE(SysctlUInt64::decode(std::span<const uint8_t>(bytes, 4)));
}

TEST(SwapUsage, UsedIsTheThirdMember) {
    std::array<uint8_t, 32> bytes{};
    const uint64_t total = 4ull << 30, available = 3ull << 30, used = 1ull << 30;
    const uint32_t pageSize = 16384;
    std::memcpy(bytes.data(), &total, 8);
    std::memcpy(bytes.data() + 8, &available, 8);
    std::memcpy(bytes.data() + 16, &used, 8);
    std::memcpy(bytes.data() + 24, &pageSize, 4);
    EXPECT_EQ(SwapUsage::decode(bytes), used);
    EXPECT_FALSE(SwapUsage::decode(std::span<const uint8_t>(bytes.data(), 24)));
}

TEST(Utf8, ByteSpansRejectOverlongSurrogateAndTruncatedSequences) {
    const uint8_t overlong[] = {0xC0, 0xAF};
    const uint8_t surrogate[] = {0xED, 0xA0, 0x80};
    const uint8_t truncated[] = {0xE2, 0x82};
    const uint8_t euro[] = {0xE2, 0x82, 0xAC};
    EXPECT_FALSE(isValidUtf8(overlong));
    EXPECT_FALSE(isValidUtf8(surrogate));
    EXPECT_FALSE(isValidUtf8(truncated));
    EXPECT_TRUE(isValidUtf8(euro));
}

}  // namespace
}  // namespace orv
