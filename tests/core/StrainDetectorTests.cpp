#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/DecodingError.h"
#include "core/JsonCoding.h"
#include "core/StrainDetector.h"

namespace orv {
namespace {

const Date now = Date::fromUnixSeconds(1'700'000'000);

StrainDetector::CPUPoint at(double age, double percent) {
    return {Date{now.secondsSinceReferenceDate - age}, percent};
}

std::optional<StrainReason> evaluate(const std::vector<StrainDetector::CPUPoint>& history, bool memory = false,
                                     std::optional<double> free = std::nullopt,
                                     ThermalPressure thermal = ThermalPressure::nominal) {
    return StrainDetector::evaluate(history, now, memory, free, thermal);
}

TEST(StrainDetector, NothingWrongIsNoReason) { EXPECT_EQ(evaluate({}), std::nullopt); }

TEST(StrainDetector, AMinuteAboveTheThresholdIsCPU) {
    EXPECT_EQ(evaluate({at(59, 90), at(30, 90), at(0, 90)}), StrainReason::cpu);
}

TEST(StrainDetector, AHistoryReachingBackOnly54SecondsNeverFires) {
    EXPECT_EQ(evaluate({at(54, 90), at(30, 90), at(0, 90)}), std::nullopt);
    EXPECT_EQ(evaluate({at(54.9, 100), at(0, 100)}), std::nullopt);
}

TEST(StrainDetector, APointOlderThanTheWindowDoesNotCount) {
    EXPECT_EQ(evaluate({at(61, 10), at(59, 90), at(30, 90), at(0, 90)}), StrainReason::cpu);
}

TEST(StrainDetector, ExactlyTheThresholdCounts) {
    EXPECT_EQ(evaluate({at(55, 85.0), at(20, 85.0), at(0, 85.0)}), StrainReason::cpu);
}

TEST(StrainDetector, OneDipInTheWindowKeepsCPUOff) {
    EXPECT_EQ(evaluate({at(59, 90), at(30, 84.99), at(0, 90)}), std::nullopt);
}

TEST(StrainDetector, ANaNPercentageIsADip) {
    EXPECT_EQ(evaluate({at(59, 90), at(30, std::nan("")), at(0, 90)}), std::nullopt);
}

TEST(StrainDetector, HistoryInAnyOrder) {
    EXPECT_EQ(evaluate({at(0, 90), at(59, 90), at(30, 90)}), StrainReason::cpu);
}

TEST(StrainDetector, PointsAfterNowAreKept) {
    // A point from the future is in the window: its dip counts.
    EXPECT_EQ(evaluate({at(59, 90), at(-5, 10)}), std::nullopt);
    EXPECT_EQ(evaluate({at(59, 90), at(-5, 90)}), StrainReason::cpu);
}

TEST(StrainDetector, CPUComesFirst) {
    EXPECT_EQ(evaluate({at(59, 90), at(0, 90)}, true, 0.01, ThermalPressure::critical), StrainReason::cpu);
}

TEST(StrainDetector, MemoryBeforeDiskBeforeThermal) {
    EXPECT_EQ(evaluate({}, true, 0.01, ThermalPressure::critical), StrainReason::memory);
    EXPECT_EQ(evaluate({}, false, 0.01, ThermalPressure::critical), StrainReason::disk);
    EXPECT_EQ(evaluate({}, false, 0.5, ThermalPressure::critical), StrainReason::thermal);
}

TEST(StrainDetector, DiskBelowFivePercentFreeStrictly) {
    EXPECT_EQ(evaluate({}, false, 0.05), std::nullopt);
    EXPECT_EQ(evaluate({}, false, 0.0499), StrainReason::disk);
    EXPECT_EQ(evaluate({}, false, std::nan("")), std::nullopt);
}

TEST(StrainDetector, ThermalFromSerious) {
    EXPECT_EQ(evaluate({}, false, std::nullopt, ThermalPressure::fair), std::nullopt);
    EXPECT_EQ(evaluate({}, false, std::nullopt, ThermalPressure::serious), StrainReason::thermal);
    EXPECT_EQ(evaluate({}, false, std::nullopt, ThermalPressure::critical), StrainReason::thermal);
}

TEST(StrainDetector, Messages) {
    EXPECT_EQ(StrainDetector::message(StrainReason::cpu), "CPU has been above 85% for a minute");
    EXPECT_EQ(StrainDetector::message(StrainReason::memory), "Memory pressure is high");
    EXPECT_EQ(StrainDetector::message(StrainReason::disk), "The startup disk is almost full");
    EXPECT_EQ(StrainDetector::message(StrainReason::thermal), "This Mac is running hot");
}

TEST(StrainDetector, Constants) {
    EXPECT_EQ(StrainDetector::cpuThreshold, 85.0);
    EXPECT_EQ(StrainDetector::cpuWindow, 60.0);
    EXPECT_EQ(StrainDetector::diskFreeFraction, 0.05);
}

TEST(StrainReason, CodedAsTheBareString) {
    EXPECT_EQ(json::encode(StrainReason::disk), "\"disk\"");
    EXPECT_EQ(json::decode<StrainReason>("\"thermal\""), StrainReason::thermal);
    EXPECT_THROW(json::decode<StrainReason>("\"gpu\""), json::DecodingError);
    EXPECT_EQ(strainReasonFromRaw("memory"), StrainReason::memory);
    EXPECT_EQ(strainReasonFromRaw("Memory"), std::nullopt);
}

}  // namespace
}  // namespace orv
