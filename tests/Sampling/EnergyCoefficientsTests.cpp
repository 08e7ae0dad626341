#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include <cmath>
#include <limits>

#include "Sampling/EnergyCoefficients.h"
#include "core/JsonCoding.h"

namespace orv {
namespace {

PropertyValue::Dictionary withConstants(PropertyValue::Dictionary constants) {
    return PropertyValue::Dictionary{{"energy_constants", PropertyValue(std::move(constants))}};
}

TEST(EnergyCoefficients, BuiltInSetHasTheDocumentedWeights) {
    const auto& b = EnergyCoefficients::builtIn;
    EXPECT_EQ(b.cpuTime, 1.0);
    EXPECT_EQ(b.cpuWakeups, 0.0002);
    EXPECT_EQ(b.diskBytesRead, 4.5e-10);
    EXPECT_EQ(b.diskBytesWritten, 2.4e-10);
    EXPECT_EQ(b.gpuTime, 0.0);
}

TEST(EnergyCoefficients, EncodesUnderItsFieldNames) {
    auto v = boost::json::parse(json::encode(EnergyCoefficients{1, 2, 3, 4, 5}));
    EXPECT_EQ(v, boost::json::parse(
                     R"({"cpuTime":1.0,"cpuWakeups":2.0,"diskBytesRead":3.0,"diskBytesWritten":4.0,"gpuTime":5.0})"));
    EXPECT_EQ(json::decode<EnergyCoefficients>(json::encode(EnergyCoefficients::builtIn)), EnergyCoefficients::builtIn);
}

TEST(EnergyCoefficients, ReadsTheFiveKeysOfEnergyConstants) {
    auto c = EnergyCoefficients::fromPropertyList(withConstants({{"kcpu_time", 1.5},
                                                                 {"kcpu_wakeups", 0.25},
                                                                 {"kdiskio_bytesread", 3e-10},
                                                                 {"kdiskio_byteswritten", 4e-10},
                                                                 {"kgpu_time", 0.5}}));
    ASSERT_TRUE(c);
    EXPECT_EQ(*c, (EnergyCoefficients{1.5, 0.25, 3e-10, 4e-10, 0.5}));
}

TEST(EnergyCoefficients, IntegerWeightsReadAsDoubles) {
    auto c = EnergyCoefficients::fromPropertyList(withConstants({{"kcpu_time", 2}, {"kgpu_time", int64_t(3)}}));
    ASSERT_TRUE(c);
    EXPECT_EQ(c->cpuTime, 2.0);
    EXPECT_EQ(c->gpuTime, 3.0);
}

TEST(EnergyCoefficients, MissingOrNonNumericKeysWeighZeroNotTheBuiltInValue) {
    auto c = EnergyCoefficients::fromPropertyList(
        withConstants({{"kcpu_time", "1.0"}, {"kcpu_wakeups", PropertyValue::Data{1, 2}}, {"kgpu_time", 7.0}}));
    ASSERT_TRUE(c);
    EXPECT_EQ(*c, (EnergyCoefficients{0.0, 0.0, 0.0, 0.0, 7.0}));
}

TEST(EnergyCoefficients, EmptyEnergyConstantsStillYieldsAllZeroWeights) {
    auto c = EnergyCoefficients::fromPropertyList(withConstants({}));
    ASSERT_TRUE(c);
    EXPECT_EQ(*c, (EnergyCoefficients{0, 0, 0, 0, 0}));
}

TEST(EnergyCoefficients, EmptyDictionaryFails) {
    EXPECT_EQ(EnergyCoefficients::fromPropertyList(PropertyValue::Dictionary{}), std::nullopt);
}

TEST(EnergyCoefficients, MissingEnergyConstantsFails) {
    EXPECT_EQ(EnergyCoefficients::fromPropertyList(PropertyValue::Dictionary{{"kcpu_time", 1.0}}), std::nullopt);
}

TEST(EnergyCoefficients, EnergyConstantsThatIsNotADictionaryFails) {
    PropertyValue::Dictionary asArray{{"energy_constants", PropertyValue(PropertyValue::Array{1.0, 2.0})}};
    PropertyValue::Dictionary asNumber{{"energy_constants", 1.0}};
    EXPECT_EQ(EnergyCoefficients::fromPropertyList(asArray), std::nullopt);
    EXPECT_EQ(EnergyCoefficients::fromPropertyList(asNumber), std::nullopt);
}

TEST(EnergyCoefficients, AValueThatIsNotADictionaryFails) {
    EXPECT_EQ(EnergyCoefficients::fromPropertyList(PropertyValue("energy_constants")), std::nullopt);
    EXPECT_TRUE(EnergyCoefficients::fromPropertyList(PropertyValue(withConstants({{"kcpu_time", 1.0}}))));
}

TEST(EnergyImpact, IntervalZeroYieldsZeroWhateverTheInputs) {
    EXPECT_EQ(EnergyCoefficients::builtIn.energyImpact(5, 1000, 1e9, 1e9, 3, 0), 0.0);
    EXPECT_EQ(EnergyCoefficients::builtIn.energyImpact(-5, 0, 0, 0, 0, 0), 0.0);
}

TEST(EnergyImpact, NegativeOrNaNIntervalYieldsZero) {
    EXPECT_EQ(EnergyCoefficients::builtIn.energyImpact(5, 1, 1, 1, 1, -1), 0.0);
    EXPECT_EQ(EnergyCoefficients::builtIn.energyImpact(5, 1, 1, 1, 1, std::numeric_limits<double>::quiet_NaN()), 0.0);
}

TEST(EnergyImpact, WeightsEachQuantityPerIntervalTimesAHundred) {
    EnergyCoefficients c{1.0, 0.5, 0.25, 0.125, 2.0};
    // (2×1 + 4×0.5 + 8×0.25 + 16×0.125 + 1×2) ÷ 2 × 100 = 10 ÷ 2 × 100
    EXPECT_DOUBLE_EQ(c.energyImpact(2, 4, 8, 16, 1, 2), 500.0);
}

TEST(EnergyImpact, OneCPUSecondPerSecondWithBuiltInWeightsIsAHundred) {
    EXPECT_DOUBLE_EQ(EnergyCoefficients::builtIn.energyImpact(1, 0, 0, 0, 0, 1), 100.0);
    // GPU time weighs nothing in the built-in set.
    EXPECT_DOUBLE_EQ(EnergyCoefficients::builtIn.energyImpact(0, 0, 0, 0, 10, 1), 0.0);
}

TEST(EnergyImpact, NegativeResultBecomesZero) {
    EnergyCoefficients negative{-1.0, 0, 0, 0, 0};
    EXPECT_EQ(negative.energyImpact(1, 0, 0, 0, 0, 1), 0.0);
}

TEST(EnergyImpact, NaNResultBecomesZero) {
    double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(EnergyCoefficients::builtIn.energyImpact(nan, 0, 0, 0, 0, 1), 0.0);
}

}  // namespace
}  // namespace orv
