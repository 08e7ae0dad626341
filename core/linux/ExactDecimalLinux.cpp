#include "core/ExactDecimal.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>

namespace orv::ExactDecimal {

std::errc read(std::string_view text, double& value) {
    const char* last = text.data() + text.size();
    // A digit first, after the sign: no "inf", "nan", '+', '.' or blank.
    const size_t first = text.starts_with('-') ? 1 : 0;
    if (text.size() <= first || text[first] < '0' || text[first] > '9') return std::errc::invalid_argument;
    auto [end, error] = std::from_chars(text.data(), last, value);
    if (error == std::errc::result_out_of_range) {
        // from_chars says so on both sides of the range. strtod, also
        // exact, tells them apart: infinite past it, a zero or subnormal
        // below it. The process never sets a locale, so its point is '.'.
        const std::string copy(text);
        const double nearest = std::strtod(copy.c_str(), nullptr);
        if (std::isinf(nearest)) return error;
        value = nearest;
        return std::errc();
    }
    if (error != std::errc() || end != last) return std::errc::invalid_argument;
    return std::errc();
}

}  // namespace orv::ExactDecimal
