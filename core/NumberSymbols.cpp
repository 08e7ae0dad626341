#include "core/NumberSymbols.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace orv {

namespace {

// Adds one to the decimal digits in `digits`, carrying leftwards; a carry
// out of the first digit prepends a 1.
void incrementDigits(std::string& digits) {
    for (size_t i = digits.size(); i-- > 0;) {
        if (digits[i] != '9') {
            ++digits[i];
            return;
        }
        digits[i] = '0';
    }
    digits.insert(digits.begin(), '1');
}

// `whole` with the group separator between groups, as `grouping` sizes them.
std::string grouped(const std::string& whole, const NumberSymbols& symbols) {
    if (symbols.grouping.empty() || symbols.groupSeparator.empty()) return whole;
    std::vector<size_t> cuts;  // group lengths from the right
    size_t left = whole.size();
    size_t next = 0;
    int size = 0;
    while (left > 0) {
        if (next < symbols.grouping.size()) {
            int byte = static_cast<unsigned char>(symbols.grouping[next++]);
            if (byte == CHAR_MAX || byte == UCHAR_MAX) break;
            if (byte > 0) size = byte;
        }
        if (size <= 0 || size_t(size) >= left) break;
        cuts.push_back(size_t(size));
        left -= size_t(size);
    }
    if (cuts.empty()) return whole;
    std::string out = whole.substr(0, left);
    size_t at = left;
    for (auto cut = cuts.rbegin(); cut != cuts.rend(); ++cut) {
        out += symbols.groupSeparator;
        out.append(whole, at, *cut);
        at += *cut;
    }
    return out;
}

// The shortest digits that read back as `magnitude` (finite, not
// negative), written without an exponent: fmt's shortest form ("1e+22",
// "1.5e-07") moved into place.
std::string shortestFixed(double magnitude) {
    std::string text = fmt::format("{}", magnitude);
    auto e = text.find('e');
    if (e == std::string::npos) return text;
    int exponent = std::atoi(text.c_str() + e + 1);
    std::string mantissa = text.substr(0, e);
    auto point = mantissa.find('.');
    std::string digits = mantissa;
    int wholeDigits = int(point == std::string::npos ? mantissa.size() : point);
    if (point != std::string::npos) digits.erase(point, 1);
    int position = wholeDigits + exponent;  // digits before the point
    if (position <= 0) return "0." + std::string(size_t(-position), '0') + digits;
    if (size_t(position) >= digits.size()) return digits + std::string(size_t(position) - digits.size(), '0');
    return digits.substr(0, size_t(position)) + "." + digits.substr(size_t(position));
}

}  // namespace

std::string NumberSymbols::format(double value, int fractionDigits) const {
    if (std::isnan(value)) value = 0;
    fractionDigits = std::clamp(fractionDigits, 0, 17);
    bool negative = std::signbit(value);
    if (std::isinf(value)) return negative ? "-\u221E" : "\u221E";
    // The shortest digits that read back as `value`, so that 1.005 rounds
    // as the 1.005 it was written as rather than the binary 1.00499….
    std::string fixed = shortestFixed(std::fabs(value));
    std::string_view shortest(fixed);
    auto point = shortest.find('.');
    std::string whole(shortest.substr(0, point));
    std::string fraction(point == std::string_view::npos ? std::string_view() : shortest.substr(point + 1));
    if (fraction.size() > size_t(fractionDigits)) {
        bool up = fraction[size_t(fractionDigits)] >= '5';
        fraction.resize(size_t(fractionDigits));
        if (up) {
            std::string digits = whole + fraction;
            incrementDigits(digits);
            whole = digits.substr(0, digits.size() - fraction.size());
            fraction = digits.substr(digits.size() - fraction.size());
        }
    }
    fraction.resize(size_t(fractionDigits), '0');
    bool zero = std::all_of(whole.begin(), whole.end(), [](char c) { return c == '0'; }) &&
                std::all_of(fraction.begin(), fraction.end(), [](char c) { return c == '0'; });
    std::string out = negative && !zero ? "-" : "";
    out += grouped(whole, *this);
    if (fractionDigits > 0) out += decimalSeparator + fraction;
    return out;
}

}  // namespace orv
