#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "Sampling/KinfoProcTable.h"
#include "Sampling/MachTimebase.h"
#include "Sampling/RusageInfo.h"

namespace orv {
namespace {

using L = KinfoProc;

template <class T>
void put(std::vector<uint8_t>& bytes, size_t offset, T value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

std::vector<uint8_t> row(int32_t pid, int32_t ppid, uint32_t uid, int64_t sec, int32_t usec, const char* comm,
                         char state = 2) {
    std::vector<uint8_t> bytes(L::rowSize, 0xAB);  // garbage everywhere we do not read
    put(bytes, L::startSeconds, sec);
    put(bytes, L::startMicroseconds, usec);
    bytes[L::state] = uint8_t(state);
    put(bytes, L::pid, pid);
    put(bytes, L::effectiveUID, uid);
    put(bytes, L::parentPID, ppid);
    std::memset(bytes.data() + L::command, 0, L::commandSize);
    std::memcpy(bytes.data() + L::command, comm, std::min(std::strlen(comm), L::commandSize));
    return bytes;
}

TEST(KinfoProcRow, DecodesStartStatePidNameUidAndParent) {
    auto bytes = row(4242, 1, 501, 1'700'000'000, 250'000, "Safari");
    auto decoded = KinfoProc::decode(bytes);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->pid, 4242);
    EXPECT_EQ(decoded->parentPID, 1);
    EXPECT_EQ(decoded->uid, 501u);
    EXPECT_EQ(decoded->start, Date::fromUnixSeconds(1'700'000'000.25));
    EXPECT_EQ(decoded->startStamp, 1'700'000'000'250'000ULL);
    EXPECT_EQ(decoded->commandName(), "Safari");
    EXPECT_FALSE(decoded->isZombie);
}

TEST(KinfoProcRow, ZombieStateIsFive) {
    EXPECT_TRUE(KinfoProc::decode(row(1, 0, 0, 0, 0, "z", 5))->isZombie);
}

TEST(KinfoProcRow, CommandWithoutTerminatorStopsAtSeventeenBytes) {
    auto bytes = row(1, 0, 0, 0, 0, "");
    std::memset(bytes.data() + L::command, 'x', L::commandSize);
    EXPECT_EQ(KinfoProc::decode(bytes)->commandName(), std::string(17, 'x'));
}

TEST(KinfoProcRow, ShortRowIsRefused) {
    std::vector<uint8_t> bytes(L::rowSize - 1);
    EXPECT_FALSE(KinfoProc::decode(bytes));
}

// A kernel whose table holds `rows` rows, answering like sysctl(3).
struct FakeKernel {
    explicit FakeKernel(size_t rows) : rows(rows) {}
    size_t rows;
    std::vector<size_t> offered;  // buffer sizes offered, 0 for a size query
    int sizeQueryError = 0;

    int operator()(void* buffer, size_t* size) {
        offered.push_back(buffer ? *size : 0);
        size_t needed = rows * L::rowSize;
        if (!buffer) {
            if (sizeQueryError) return sizeQueryError;
            *size = needed;
            return 0;
        }
        if (*size < needed) return ENOMEM;
        *size = needed;
        return 0;
    }
};

TEST(KinfoProcTable, FirstCallAsksTheSizeAndGrowsByAQuarterPlusSixteenRows) {
    FakeKernel kernel(100);
    KinfoProcTable table;
    EXPECT_EQ(table.read(std::ref(kernel)), 100u);
    EXPECT_EQ(table.capacityRows(), (100 * 648 + 100 * 648 / 4) / 648 + 16);
    EXPECT_EQ(kernel.offered.size(), 2u);  // size query, then one read
}

TEST(KinfoProcTable, WarmBufferNeedsOneCall) {
    FakeKernel kernel(100);
    KinfoProcTable table;
    table.read(std::ref(kernel));
    kernel.offered.clear();
    kernel.rows = 130;  // still within the head-room
    EXPECT_EQ(table.read(std::ref(kernel)), 130u);
    EXPECT_EQ(kernel.offered.size(), 1u);
}

TEST(KinfoProcTable, GrowsAgainWhenTheTableOutgrowsTheBuffer) {
    FakeKernel kernel(100);
    KinfoProcTable table;
    table.read(std::ref(kernel));
    kernel.rows = 1000;
    EXPECT_EQ(table.read(std::ref(kernel)), 1000u);
    EXPECT_GE(table.capacityRows(), 1000u);
}

TEST(KinfoProcTable, GivesUpAfterThreeGrowths) {
    // A table that always outgrows what was just measured.
    struct Runaway {
        size_t rows = 10;
        int reads = 0;
        int operator()(void* buffer, size_t* size) {
            if (!buffer) { *size = rows * L::rowSize; return 0; }
            ++reads;
            rows *= 10;
            return ENOMEM;
        }
    } kernel;
    KinfoProcTable table;
    EXPECT_EQ(table.read(std::ref(kernel)), 0u);
    EXPECT_EQ(kernel.reads, 2);  // a cold buffer allows two reads
    kernel.reads = 0;
    EXPECT_EQ(table.read(std::ref(kernel)), 0u);
    EXPECT_EQ(kernel.reads, 3);  // a warm one three
}

TEST(KinfoProcTable, OtherErrorsAndEmptySizesGiveUp) {
    KinfoProcTable table;
    FakeKernel failing(100);
    failing.sizeQueryError = EPERM;
    EXPECT_EQ(table.read(std::ref(failing)), 0u);
    FakeKernel empty(0);
    EXPECT_EQ(table.read(std::ref(empty)), 0u);
    FakeKernel fine(5);
    table.read(std::ref(fine));
    EXPECT_EQ(table.read([](void*, size_t*) { return EINVAL; }), 0u);
}

TEST(MachTimebase, ArmTimebaseConvertsThreeTicksToOneHundredTwentyFiveNanoseconds) {
    auto timebase = MachTimebase::fromRaw(125, 3);
    EXPECT_EQ(timebase.nanoseconds(3), 125u);
    EXPECT_EQ(timebase.nanoseconds(24'000'000), 1'000'000'000u);
    EXPECT_EQ(timebase.duration(3), Duration::nanoseconds(125));
}

TEST(MachTimebase, FailedTimebaseReadsAsOneToOne) {
    auto timebase = MachTimebase::fromRaw(0, 0);
    EXPECT_EQ(timebase.numer, 1u);
    EXPECT_EQ(timebase.denom, 1u);
    EXPECT_EQ(timebase.nanoseconds(77), 77u);
}

TEST(MachTimebase, DurationIsClampedToTheLargestSignedNanosecondCount) {
    auto timebase = MachTimebase::fromRaw(1, 1);
    EXPECT_EQ(timebase.duration(UINT64_MAX), Duration::nanoseconds(INT64_MAX));
}

TEST(MachTimebase, ConversionThatOverflowsIsAbsent) {
    auto timebase = MachTimebase::fromRaw(125, 3);
    EXPECT_FALSE(timebase.nanoseconds(UINT64_MAX));
    EXPECT_FALSE(timebase.duration(UINT64_MAX));
    // The largest count that still converts, and the next.
    const uint64_t largest = (UINT64_MAX / 125) * 3 + 2;
    EXPECT_TRUE(timebase.nanoseconds(largest));
    EXPECT_FALSE(timebase.nanoseconds(largest + 1));
}

TEST(RusageInfo, TicksPastTheConversionMakeNoReading) {
    std::vector<uint8_t> record(RusageInfoV6::size, 0);
    put<uint64_t>(record, RusageInfoV6::userTime, UINT64_MAX - 10);
    EXPECT_FALSE(RusageInfoV6::decode(record, MachTimebase::fromRaw(125, 3)));
    // The same count converts at 1/1 (clamped to the largest duration).
    auto oneToOne = RusageInfoV6::decode(record, MachTimebase::fromRaw(1, 1));
    ASSERT_TRUE(oneToOne);
    EXPECT_EQ(oneToOne->cpuTime, Duration::nanoseconds(INT64_MAX));
}

TEST(RusageInfo, TickSumPast64BitsMakesNoReading) {
    std::vector<uint8_t> record(RusageInfoV6::size, 0);
    put<uint64_t>(record, RusageInfoV6::userTime, UINT64_MAX);
    put<uint64_t>(record, RusageInfoV6::systemTime, 2);
    EXPECT_FALSE(RusageInfoV6::decode(record, MachTimebase::fromRaw(1, 1)));
}

TEST(RusageInfo, DecodesTheFieldsWeUse) {
    std::vector<uint8_t> record(RusageInfoV6::size, 0xCD);
    put<uint64_t>(record, RusageInfoV6::userTime, 300);
    put<uint64_t>(record, RusageInfoV6::systemTime, 3);
    put<uint64_t>(record, RusageInfoV6::idleWakeups, 5);
    put<uint64_t>(record, RusageInfoV6::interruptWakeups, 6);
    put<uint64_t>(record, RusageInfoV6::physFootprint, 1 << 20);
    put<uint64_t>(record, RusageInfoV6::diskBytesRead, 7);
    put<uint64_t>(record, RusageInfoV6::diskBytesWritten, 8);
    put<uint64_t>(record, RusageInfoV6::billedEnergy, 9);
    auto usage = RusageInfoV6::decode(record, MachTimebase::fromRaw(125, 3));
    ASSERT_TRUE(usage);
    EXPECT_EQ(usage->cpuTime, Duration::nanoseconds(303 * 125 / 3));
    EXPECT_EQ(usage->wakeups, 11u);
    EXPECT_EQ(usage->footprintBytes, 1u << 20);
    EXPECT_EQ(usage->diskReadBytes, 7u);
    EXPECT_EQ(usage->diskWriteBytes, 8u);
    EXPECT_EQ(usage->energyNJ, 9u);
}

TEST(RusageInfo, WakeupSumWraps) {
    std::vector<uint8_t> record(RusageInfoV6::size, 0);
    put<uint64_t>(record, RusageInfoV6::idleWakeups, UINT64_MAX);
    put<uint64_t>(record, RusageInfoV6::interruptWakeups, 2);
    EXPECT_EQ(RusageInfoV6::decode(record, MachTimebase{})->wakeups, 1u);
}

TEST(RusageInfo, ShortRecordIsRefused) {
    std::vector<uint8_t> record(RusageInfoV6::size - 8, 0);
    EXPECT_FALSE(RusageInfoV6::decode(record, MachTimebase{}));
}

}  // namespace
}  // namespace orv
