#include <gtest/gtest.h>

#include "Sampling/ProcessMath.h"

namespace orv {
namespace {

constexpr int32_t pid = 700;
// The instant of the current readings.
const Date now = Date::fromUnixSeconds(1'700'000'000);
// A process that has been running for an hour.
const Date longAgo = Date::fromUnixSeconds(1'700'000'000 - 3600);

ProcessReading reading(Date start, Duration cpu, uint64_t read = 0, uint64_t written = 0, uint64_t energyNJ = 0,
                       uint64_t wakeups = 0, bool complete = true) {
    ProcessReading r;
    r.pid = pid;
    r.parentPID = 1;
    r.name = "worker";
    r.startTime = start;
    r.cpuTime = cpu;
    r.footprintBytes = 64u << 20;
    r.diskReadBytes = read;
    r.diskWriteBytes = written;
    r.energyNJ = energyNJ;
    r.wakeups = wakeups;
    r.isComplete = complete;
    return r;
}

struct Inputs {
    ProcessMath::ReadingsByPID previous;
    std::vector<ProcessReading> current;
    ProcessMath::IdentitiesByPID identities;
    ProcessMath::GPUTimeByPID previousGPU;
    ProcessMath::GPUTimeByPID currentGPU;
    Duration elapsed = Duration::seconds(1);
    int cores = 4;
    EnergyCoefficients energy = EnergyCoefficients::builtIn;

    std::vector<ProcessSample> run() const {
        return ProcessMath::samples(previous, current, identities, previousGPU, currentGPU, elapsed, now, cores,
                                    energy);
    }
    ProcessSample one() const {
        auto all = run();
        EXPECT_EQ(all.size(), 1u);
        return all.empty() ? ProcessSample{} : all.front();
    }
};

Inputs withBaseline(ProcessReading before, ProcessReading after) {
    Inputs in;
    in.previous.emplace(before.pid, before);
    in.current.push_back(after);
    return in;
}

TEST(ProcessMath, OneCoreBusyForTheIntervalIsAShareOfTheMachine) {
    auto in = withBaseline(reading(longAgo, Duration::seconds(10)), reading(longAgo, Duration::seconds(12)));
    in.elapsed = Duration::seconds(2);
    auto s = in.one();
    EXPECT_DOUBLE_EQ(s.cpuPercent, 25.0);
    EXPECT_EQ(s.pid, pid);
    EXPECT_EQ(s.name, "worker");
    EXPECT_EQ(s.footprintBytes, 64u << 20);
}

TEST(ProcessMath, DiskRatesAndPowerArePerSecond) {
    auto in = withBaseline(reading(longAgo, Duration::zero(), 1000, 2000, 5'000'000'000),
                           reading(longAgo, Duration::zero(), 5000, 10000, 9'000'000'000));
    in.elapsed = Duration::seconds(2);
    auto s = in.one();
    EXPECT_DOUBLE_EQ(s.diskReadBPS, 2000.0);
    EXPECT_DOUBLE_EQ(s.diskWriteBPS, 4000.0);
    // 4 J over 2 s is 2 W.
    ASSERT_TRUE(s.energyMW);
    EXPECT_DOUBLE_EQ(*s.energyMW, 2000.0);
}

TEST(ProcessMath, NetworkRatesStayAbsent) {
    auto s = withBaseline(reading(longAgo, Duration::zero()), reading(longAgo, Duration::seconds(1))).one();
    EXPECT_EQ(s.netInBPS, std::nullopt);
    EXPECT_EQ(s.netOutBPS, std::nullopt);
}

TEST(ProcessMath, AppIsTheIdentityFromTheMap) {
    auto in = withBaseline(reading(longAgo, Duration::zero()), reading(longAgo, Duration::zero()));
    in.identities.emplace(pid, AppIdentity{"com.example.Editor", "Editor", "com.example.Editor",
                                           "com.example.Editor", AppIdentity::Kind::app});
    EXPECT_EQ(in.one().app, "com.example.Editor");
}

TEST(ProcessMath, UnclaimedProcessBelongsToTheOtherIdentityOfItsName) {
    auto in = withBaseline(reading(longAgo, Duration::zero()), reading(longAgo, Duration::zero()));
    in.identities.emplace(pid + 1, AppIdentity::other("someone-else"));
    EXPECT_EQ(in.one().app, "other:worker");
}

TEST(ProcessMath, OneSamplePerCurrentReadingInTheSameOrder) {
    Inputs in;
    for (int32_t p : {30, 10, 20}) {
        auto r = reading(longAgo, Duration::zero());
        r.pid = p;
        in.current.push_back(r);
    }
    auto all = in.run();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].pid, 30);
    EXPECT_EQ(all[1].pid, 10);
    EXPECT_EQ(all[2].pid, 20);
}

TEST(ProcessMath, PidBackWithADifferentStartTimeIsANewProcess) {
    // The old instance had far more CPU time; measured against it the new
    // one would read 0, measured over its own life it reads its own time.
    auto old = reading(longAgo, Duration::seconds(500), 1'000'000);
    auto reborn = reading(Date::fromUnixSeconds(now.unixSeconds() - 0.5), Duration::milliseconds(500), 4096);
    auto in = withBaseline(old, reborn);
    in.cores = 1;
    auto s = in.one();
    EXPECT_DOUBLE_EQ(s.cpuPercent, 100.0);
    EXPECT_DOUBLE_EQ(s.diskReadBPS, 8192.0);
}

TEST(ProcessMath, PidBackWithADifferentStartTimeBeforeTheIntervalGetsNoRates) {
    auto old = reading(longAgo, Duration::seconds(1));
    auto other = reading(Date::fromUnixSeconds(now.unixSeconds() - 60), Duration::seconds(30), 1 << 20);
    auto s = withBaseline(old, other).one();
    EXPECT_EQ(s.cpuPercent, 0.0);
    EXPECT_EQ(s.diskReadBPS, 0.0);
    EXPECT_EQ(s.energyImpact, std::nullopt);
}

TEST(ProcessMath, ProcessBornInsideTheIntervalIsMeasuredOverItsOwnLife) {
    // Started 2 s into a 5 s interval: 3 s of life, 1.5 s of CPU, 3 MB read.
    Inputs in;
    in.elapsed = Duration::seconds(5);
    in.cores = 1;
    in.current.push_back(reading(Date::fromUnixSeconds(now.unixSeconds() - 3), Duration::milliseconds(1500),
                                 3'000'000, 600, 3'000'000'000, 30));
    auto s = in.one();
    EXPECT_DOUBLE_EQ(s.cpuPercent, 50.0);
    EXPECT_DOUBLE_EQ(s.diskReadBPS, 1'000'000.0);
    EXPECT_DOUBLE_EQ(s.diskWriteBPS, 200.0);
    ASSERT_TRUE(s.energyMW);
    EXPECT_DOUBLE_EQ(*s.energyMW, 1000.0);
    ASSERT_TRUE(s.energyImpact);
    double expected = EnergyCoefficients::builtIn.energyImpact(1.5, 30, 3'000'000, 600, 0, 3);
    EXPECT_DOUBLE_EQ(*s.energyImpact, expected);
}

TEST(ProcessMath, ProcessBornExactlyAtTheIntervalStartCountsAsBornInside) {
    Inputs in;
    in.elapsed = Duration::seconds(2);
    in.cores = 1;
    in.current.push_back(reading(Date::fromUnixSeconds(now.unixSeconds() - 2), Duration::seconds(1)));
    EXPECT_DOUBLE_EQ(in.one().cpuPercent, 50.0);
}

TEST(ProcessMath, ProcessThatExistedBeforeButHasNoPreviousReadingReportsNoRates) {
    // The first pass after start-up: the previous map is empty.
    Inputs in;
    in.current.push_back(reading(longAgo, Duration::seconds(3000), 1 << 30, 1 << 30, 1'000'000'000'000, 99999));
    auto s = in.one();
    EXPECT_EQ(s.cpuPercent, 0.0);
    EXPECT_EQ(s.diskReadBPS, 0.0);
    EXPECT_EQ(s.diskWriteBPS, 0.0);
    EXPECT_EQ(s.energyMW, 0.0);
    EXPECT_EQ(s.energyImpact, std::nullopt);
    EXPECT_EQ(s.footprintBytes, 64u << 20) << "the footprint is a level, not a rate";
}

TEST(ProcessMath, ProcessStartingInTheFutureGetsNoRates) {
    // A clock step can put the start after `now`: the age is not positive.
    Inputs in;
    in.current.push_back(reading(Date::fromUnixSeconds(now.unixSeconds() + 1), Duration::seconds(1)));
    auto s = in.one();
    EXPECT_EQ(s.cpuPercent, 0.0);
    EXPECT_EQ(s.energyImpact, std::nullopt);
}

TEST(ProcessMath, CompletenessThatChangedMeansNoBaseline) {
    // Refused before, readable now: measuring against the zeros of the
    // incomplete reading would report lifetime totals as rates.
    auto before = reading(longAgo, Duration::zero(), 0, 0, 0, 0, false);
    auto after = reading(longAgo, Duration::seconds(100), 1 << 20);
    auto s = withBaseline(before, after).one();
    EXPECT_EQ(s.cpuPercent, 0.0);
    EXPECT_EQ(s.diskReadBPS, 0.0);
    EXPECT_EQ(s.energyImpact, std::nullopt);
}

TEST(ProcessMath, CompleteThenIncompleteMeansNoBaseline) {
    auto before = reading(longAgo, Duration::seconds(100));
    auto after = reading(longAgo, Duration::zero(), 0, 0, 0, 0, false);
    auto s = withBaseline(before, after).one();
    EXPECT_EQ(s.cpuPercent, 0.0);
    EXPECT_EQ(s.energyMW, std::nullopt);
    EXPECT_EQ(s.energyImpact, std::nullopt);
}

TEST(ProcessMath, IncompleteReadingHasNoPowerAndNoImpact) {
    auto before = reading(longAgo, Duration::zero(), 0, 0, 0, 0, false);
    auto after = reading(longAgo, Duration::zero(), 0, 0, 0, 0, false);
    auto s = withBaseline(before, after).one();
    EXPECT_EQ(s.energyMW, std::nullopt);
    EXPECT_EQ(s.energyImpact, std::nullopt);
    EXPECT_EQ(s.cpuPercent, 0.0);
}

TEST(ProcessMath, IncompleteReadingBornInsideTheIntervalHasNoPower) {
    Inputs in;
    in.current.push_back(reading(Date::fromUnixSeconds(now.unixSeconds() - 0.5), Duration::zero(), 0, 0, 0, 0, false));
    auto s = in.one();
    EXPECT_EQ(s.energyMW, std::nullopt);
    EXPECT_EQ(s.energyImpact, std::nullopt);
}

TEST(ProcessMath, CountersThatWentBackwardsContributeZero) {
    auto before = reading(longAgo, Duration::seconds(10), 5000, 5000, 5000, 5000);
    auto after = reading(longAgo, Duration::seconds(9), 4000, 6000, 4000, 4000);
    auto s = withBaseline(before, after).one();
    EXPECT_EQ(s.cpuPercent, 0.0);
    EXPECT_EQ(s.diskReadBPS, 0.0);
    EXPECT_DOUBLE_EQ(s.diskWriteBPS, 1000.0);
    EXPECT_EQ(s.energyMW, 0.0);
    ASSERT_TRUE(s.energyImpact);
    EXPECT_DOUBLE_EQ(*s.energyImpact, EnergyCoefficients::builtIn.energyImpact(0, 0, 0, 1000, 0, 1));
}

TEST(ProcessMath, CoreCountZeroDividesByOne) {
    auto in = withBaseline(reading(longAgo, Duration::zero()), reading(longAgo, Duration::milliseconds(250)));
    in.cores = 0;
    EXPECT_DOUBLE_EQ(in.one().cpuPercent, 25.0);
    in.cores = -3;
    EXPECT_DOUBLE_EQ(in.one().cpuPercent, 25.0);
}

TEST(ProcessMath, EightBusyThreadsOnEightCoresReadAHundred) {
    auto in = withBaseline(reading(longAgo, Duration::zero()), reading(longAgo, Duration::seconds(8)));
    in.cores = 8;
    EXPECT_DOUBLE_EQ(in.one().cpuPercent, 100.0);
}

TEST(ProcessMath, CPUShareNeverExceedsAHundred) {
    // CPU time accounted late can exceed cores × interval.
    auto in = withBaseline(reading(longAgo, Duration::zero()), reading(longAgo, Duration::seconds(9)));
    in.cores = 8;
    EXPECT_EQ(in.one().cpuPercent, 100.0);
}

TEST(ProcessMath, GPUShareNeedsBothGPUTimes) {
    auto in = withBaseline(reading(longAgo, Duration::zero()), reading(longAgo, Duration::zero()));
    EXPECT_EQ(in.one().gpuPercent, std::nullopt);
    in.currentGPU[pid] = 500'000'000;
    EXPECT_EQ(in.one().gpuPercent, std::nullopt) << "only the current GPU time";
    in.currentGPU.clear();
    in.previousGPU[pid] = 0;
    EXPECT_EQ(in.one().gpuPercent, std::nullopt) << "only the previous GPU time";
    in.currentGPU[pid] = 500'000'000;
    ASSERT_TRUE(in.one().gpuPercent);
    EXPECT_DOUBLE_EQ(*in.one().gpuPercent, 50.0);
}

TEST(ProcessMath, GPUCounterThatWentBackwardsGivesZero) {
    auto in = withBaseline(reading(longAgo, Duration::zero()), reading(longAgo, Duration::zero()));
    in.previousGPU[pid] = 2'000'000'000;
    in.currentGPU[pid] = 1'000'000'000;
    auto s = in.one();
    ASSERT_TRUE(s.gpuPercent);
    EXPECT_EQ(*s.gpuPercent, 0.0);
}

TEST(ProcessMath, GPUShareStopsAtAHundred) {
    auto in = withBaseline(reading(longAgo, Duration::zero()), reading(longAgo, Duration::zero()));
    in.previousGPU[pid] = 0;
    in.currentGPU[pid] = 3'000'000'000;
    EXPECT_EQ(in.one().gpuPercent, 100.0);
}

TEST(ProcessMath, GPUShareOfAProcessWithoutRatesIsZero) {
    Inputs in;
    in.current.push_back(reading(longAgo, Duration::zero()));
    in.previousGPU[pid] = 0;
    in.currentGPU[pid] = 900'000'000;
    EXPECT_EQ(in.one().gpuPercent, 0.0);
}

TEST(ProcessMath, EnergyImpactWeighsEveryDelta) {
    auto in = withBaseline(reading(longAgo, Duration::seconds(1), 100, 200, 0, 10),
                           reading(longAgo, Duration::seconds(3), 1100, 2200, 0, 30));
    in.elapsed = Duration::seconds(2);
    in.energy = EnergyCoefficients{1.0, 0.5, 0.001, 0.002, 4.0};
    in.previousGPU[pid] = 0;
    in.currentGPU[pid] = 1'000'000'000;  // 1 s of GPU over 2 s: 50 %
    auto s = in.one();
    ASSERT_TRUE(s.energyImpact);
    // (2 × 1 + 20 × 0.5 + 1000 × 0.001 + 2000 × 0.002 + 1 × 4) ÷ 2 × 100
    EXPECT_DOUBLE_EQ(*s.energyImpact, 1050.0);
}

TEST(ProcessMath, ZeroIntervalWithABaselineGivesZeroRatesAndZeroImpact) {
    auto in = withBaseline(reading(longAgo, Duration::zero(), 0, 0, 0), reading(longAgo, Duration::seconds(1), 10, 10, 10));
    in.elapsed = Duration::zero();
    in.previousGPU[pid] = 0;
    in.currentGPU[pid] = 10;
    auto s = in.one();
    EXPECT_EQ(s.cpuPercent, 0.0);
    EXPECT_EQ(s.diskReadBPS, 0.0);
    EXPECT_EQ(s.energyMW, 0.0);
    EXPECT_EQ(s.gpuPercent, 0.0);
    EXPECT_EQ(s.energyImpact, 0.0);
}

TEST(ProcessMath, IntervalKeepsItsFractionOfASecond) {
    auto in = withBaseline(reading(longAgo, Duration::zero(), 0), reading(longAgo, Duration::zero(), 3000));
    in.elapsed = Duration::milliseconds(1500);
    EXPECT_DOUBLE_EQ(in.one().diskReadBPS, 2000.0);
}

TEST(ProcessMath, CPUTimeIsCountedInWholeNanoseconds) {
    EXPECT_EQ(ProcessMath::cpuNanoseconds(Duration::seconds(20)), 20'000'000'000u);
    EXPECT_EQ(ProcessMath::cpuNanoseconds(Duration{1'999'999'999}), 1u) << "attoseconds below a nanosecond drop";
    EXPECT_EQ(ProcessMath::cpuNanoseconds(Duration{-5}), 0u);
}


ProcessReading readingOf(int32_t ofPID, Duration cpu, uint64_t wakeups = 0) {
    ProcessReading r = reading(longAgo, cpu, 0, 0, 0, wakeups);
    r.pid = ofPID;
    return r;
}

TEST(ProcessMath, KeptBaselinesAreSortedByPIDAndFoundByIt) {
    ProcessMath::Baselines baselines;
    ProcessMath::keepBaselines(baselines, {readingOf(30, Duration::seconds(3)), readingOf(10, Duration::seconds(1)),
                                           readingOf(20, Duration::seconds(2))});
    ASSERT_EQ(baselines.size(), 3u);
    EXPECT_EQ(baselines[0].pid, 10);
    EXPECT_EQ(baselines[1].pid, 20);
    EXPECT_EQ(baselines[2].pid, 30);
    const ProcessMath::Baseline* found = ProcessMath::findBaseline(baselines, 20);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->cpuTime, Duration::seconds(2));
    EXPECT_EQ(found->startTime, longAgo);
    EXPECT_EQ(ProcessMath::findBaseline(baselines, 15), nullptr);
    EXPECT_EQ(ProcessMath::findBaseline(baselines, 31), nullptr);
    EXPECT_EQ(ProcessMath::findBaseline(ProcessMath::Baselines{}, 10), nullptr);
}

TEST(ProcessMath, KeepingBaselinesReplacesThoseOfDepartedProcesses) {
    ProcessMath::Baselines baselines;
    ProcessMath::keepBaselines(baselines, {readingOf(10, Duration::seconds(1)), readingOf(20, Duration::seconds(2))});
    ProcessMath::keepBaselines(baselines, {readingOf(20, Duration::seconds(5)), readingOf(40, Duration::seconds(4))});
    ASSERT_EQ(baselines.size(), 2u);
    EXPECT_EQ(ProcessMath::findBaseline(baselines, 10), nullptr);
    ASSERT_NE(ProcessMath::findBaseline(baselines, 20), nullptr);
    EXPECT_EQ(ProcessMath::findBaseline(baselines, 20)->cpuTime, Duration::seconds(5));
    EXPECT_NE(ProcessMath::findBaseline(baselines, 40), nullptr);
}

TEST(ProcessMath, OfTwoReadingsOfOnePIDTheLastIsTheBaseline) {
    ProcessMath::Baselines baselines;
    ProcessMath::keepBaselines(baselines, {readingOf(20, Duration::seconds(1)), readingOf(10, Duration::seconds(9)),
                                           readingOf(20, Duration::seconds(2))});
    ASSERT_EQ(baselines.size(), 2u);
    ASSERT_NE(ProcessMath::findBaseline(baselines, 20), nullptr);
    EXPECT_EQ(ProcessMath::findBaseline(baselines, 20)->cpuTime, Duration::seconds(2));
}

TEST(ProcessMath, KeptBaselinesGiveTheSameSamplesAsWholeReadings) {
    std::vector<ProcessReading> before{readingOf(10, Duration::seconds(1), 5), readingOf(20, Duration::seconds(2), 7)};
    std::vector<ProcessReading> after{readingOf(20, Duration::milliseconds(2500), 9),
                                      readingOf(10, Duration::milliseconds(1250), 6),
                                      readingOf(30, Duration::seconds(3))};
    Inputs in;
    for (const auto& r : before) in.previous.emplace(r.pid, r);
    in.current = after;
    ProcessMath::Baselines baselines;
    ProcessMath::keepBaselines(baselines, before);
    auto kept = ProcessMath::samples(baselines, in.current, in.identities, in.previousGPU, in.currentGPU, in.elapsed,
                                     now, in.cores, in.energy);
    auto whole = in.run();
    EXPECT_EQ(kept, whole);
    ASSERT_EQ(kept.size(), 3u);
    EXPECT_DOUBLE_EQ(kept[0].cpuPercent, 12.5);  // 0.5 s of one of four cores over 1 s
    EXPECT_DOUBLE_EQ(kept[2].cpuPercent, 0.0);   // no baseline, not born in the interval
}

}  // namespace
}  // namespace orv
