#pragma once

#include <string>

namespace orv {

// How a locale writes a decimal number: the separator before the fraction,
// the one between digit groups, and the group sizes in the C library's
// `grouping` form (localeconv(3)): each byte is the size of the next group
// leftwards from the separator, the last size repeats, a byte of CHAR_MAX
// (or below 1) ends grouping, and an empty string groups nothing.
struct NumberSymbols {
    std::string decimalSeparator = ".";
    std::string groupSeparator;
    std::string grouping;

    // `value` with exactly `fractionDigits` fraction digits (0 to 17),
    // rounded from its shortest decimal form with halves away from zero (so
    // 0.125 reads 0.13 and 2.5 reads 3); NaN reads as 0, infinities as ∞.
    std::string format(double value, int fractionDigits) const;
};

}  // namespace orv
