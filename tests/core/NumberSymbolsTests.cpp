// Numbers written with a locale's separators and grouping, and rounded as
// the figures promise: halves away from zero, from the digits as written.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "core/NumberSymbols.h"

namespace orv {
namespace {

const NumberSymbols plain{};
const NumberSymbols german{",", ".", "\3\3"};
const NumberSymbols indian{".", ",", "\3\2"};

TEST(NumberSymbols, PlainDigitsWithExactlyTheFractionAsked) {
    EXPECT_EQ(plain.format(0, 0), "0");
    EXPECT_EQ(plain.format(0, 2), "0.00");
    EXPECT_EQ(plain.format(1234567.891, 2), "1234567.89");
    EXPECT_EQ(plain.format(12, 3), "12.000");
    EXPECT_EQ(plain.format(1e22, 0), "10000000000000000000000");
    EXPECT_EQ(plain.format(1.5e17, 1), "150000000000000000.0");
    EXPECT_EQ(plain.format(1.5e-7, 7), "0.0000002");
    EXPECT_EQ(plain.format(1.5e-7, 9), "0.000000150");
    EXPECT_EQ(plain.format(4.9e-324, 2), "0.00");
    EXPECT_EQ(plain.format(123456.789e3, 1), "123456789.0");
}

TEST(NumberSymbols, HalvesRoundAwayFromZeroAsWritten) {
    EXPECT_EQ(plain.format(2.5, 0), "3");
    EXPECT_EQ(plain.format(0.5, 0), "1");
    EXPECT_EQ(plain.format(-2.5, 0), "-3");
    EXPECT_EQ(plain.format(0.125, 2), "0.13");
    // 1.005 is stored as 1.00499999…; written, it is 1.005.
    EXPECT_EQ(plain.format(1.005, 2), "1.01");
    EXPECT_EQ(plain.format(12.345, 1), "12.3");
    EXPECT_EQ(plain.format(2.4999, 0), "2");
}

TEST(NumberSymbols, ACarryRunsThroughEveryNine) {
    EXPECT_EQ(plain.format(9.96, 1), "10.0");
    EXPECT_EQ(plain.format(999.5, 0), "1000");
    EXPECT_EQ(plain.format(0.999, 2), "1.00");
    EXPECT_EQ(german.format(999999.5, 0), "1.000.000");
}

TEST(NumberSymbols, NoSignOnAZeroAndNoNumberFromNaN) {
    EXPECT_EQ(plain.format(-0.0, 1), "0.0");
    EXPECT_EQ(plain.format(-0.04, 1), "0.0");
    EXPECT_EQ(plain.format(-0.05, 1), "-0.1");
    EXPECT_EQ(plain.format(std::nan(""), 1), "0.0");
    EXPECT_EQ(plain.format(std::numeric_limits<double>::infinity(), 1), "\u221E");
    EXPECT_EQ(plain.format(-std::numeric_limits<double>::infinity(), 0), "-\u221E");
}

TEST(NumberSymbols, GroupsRepeatTheLastSize) {
    EXPECT_EQ(german.format(999, 0), "999");
    EXPECT_EQ(german.format(1000, 0), "1.000");
    EXPECT_EQ(german.format(1234567.891, 2), "1.234.567,89");
    EXPECT_EQ(german.format(-1234567, 0), "-1.234.567");
    EXPECT_EQ((NumberSymbols{".", ",", "\3"}).format(1234567, 0), "1,234,567");
}

TEST(NumberSymbols, IndianGroupingByTwoAboveTheThousands) {
    EXPECT_EQ(indian.format(1234567.891, 2), "12,34,567.89");
    EXPECT_EQ(indian.format(100000, 0), "1,00,000");
    EXPECT_EQ(indian.format(99999, 0), "99,999");
}

TEST(NumberSymbols, CharMaxEndsGrouping) {
    const NumberSymbols once{".", ",", std::string{3, char(CHAR_MAX)}};
    EXPECT_EQ(once.format(1234567, 0), "1234,567");
}

TEST(NumberSymbols, NoGroupingWithoutSizesOrSeparator) {
    EXPECT_EQ((NumberSymbols{".", ",", ""}).format(1234567, 0), "1234567");
    EXPECT_EQ((NumberSymbols{".", "", "\3"}).format(1234567, 0), "1234567");
    EXPECT_EQ((NumberSymbols{".", ",", std::string{char(CHAR_MAX)}}).format(1234567, 0), "1234567");
}

TEST(NumberSymbols, SeparatorsOfSeveralBytes) {
    // fr_FR's narrow no-break space between groups.
    const NumberSymbols french{",", "\u202F", "\3"};
    EXPECT_EQ(french.format(1234567.5, 1), "1\u202F234\u202F567,5");
}

TEST(NumberSymbols, FractionDigitsAreClamped) {
    EXPECT_EQ(plain.format(1.5, -3), "2");
    EXPECT_EQ(plain.format(0.1, 40), "0.10000000000000000");
}

}  // namespace
}  // namespace orv
