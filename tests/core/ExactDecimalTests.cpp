#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "core/ExactDecimal.h"

namespace orv {
namespace {

TEST(ExactDecimal, ReadsTheNearestDoubleHoweverManyDigits) {
    double value = 0;
    ASSERT_EQ(ExactDecimal::read("9.234567899856789976543E8", value), std::errc());
    EXPECT_EQ(value, 9.234567899856789976543E8);
    ASSERT_EQ(ExactDecimal::read("0.1", value), std::errc());
    EXPECT_EQ(value, 0.1);
    // 2^-1074 and half past it, written out in full: the nearest double.
    ASSERT_EQ(ExactDecimal::read("4.9406564584124654e-324", value), std::errc());
    EXPECT_EQ(value, std::numeric_limits<double>::denorm_min());
    const std::string digits = "1" + std::string(300, '0') + "e-300";
    ASSERT_EQ(ExactDecimal::read(digits, value), std::errc());
    EXPECT_EQ(value, 1.0);
}

TEST(ExactDecimal, BelowTheRangeIsASignedZeroAndPastItIsRefused) {
    double value = 1;
    ASSERT_EQ(ExactDecimal::read("1e-400", value), std::errc());
    EXPECT_EQ(value, 0.0);
    EXPECT_FALSE(std::signbit(value));
    ASSERT_EQ(ExactDecimal::read("-1e-400", value), std::errc());
    EXPECT_TRUE(std::signbit(value));
    EXPECT_EQ(value, 0.0);
    EXPECT_EQ(ExactDecimal::read("1e400", value), std::errc::result_out_of_range);
    EXPECT_EQ(ExactDecimal::read("-1e400", value), std::errc::result_out_of_range);
    // A negative exponent does not make a number small.
    EXPECT_EQ(ExactDecimal::read("1" + std::string(400, '0') + "e-5", value), std::errc::result_out_of_range);
}

TEST(ExactDecimal, WhatIsNotOneNumberIsRefused) {
    double value = 0;
    for (std::string_view text : {"", "1.5x", "0x10", "+1", " 1", "inf", "nan", "1,5", "."}) {
        EXPECT_EQ(ExactDecimal::read(text, value), std::errc::invalid_argument) << text;
    }
}

}  // namespace
}  // namespace orv
