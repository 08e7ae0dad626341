#include "core/ExactDecimal.h"

#include <locale.h>
#include <xlocale.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string>

namespace orv::ExactDecimal {

// macOS 13's libc++ has no floating-point from_chars; the C library's
// strtod is correctly rounded, and read in the C locale it does not depend
// on the process's.
std::errc read(std::string_view text, double& value) {
    static const locale_t c = newlocale(LC_ALL_MASK, "C", nullptr);
    // A digit first, after the sign: no "inf", "nan", '+', '.' or blank.
    const size_t first = text.starts_with('-') ? 1 : 0;
    if (text.size() <= first || text[first] < '0' || text[first] > '9') return std::errc::invalid_argument;
    // strtod would read on into hexadecimal ("0x10").
    if (text.find_first_of("xX") != std::string_view::npos) return std::errc::invalid_argument;
    const std::string copy(text);
    char* end = nullptr;
    const int saved = errno;
    errno = 0;
    const double parsed = strtod_l(copy.c_str(), &end, c);
    const bool range = errno == ERANGE;
    errno = saved;
    if (end != copy.c_str() + copy.size()) return std::errc::invalid_argument;
    if (range && std::isinf(parsed)) return std::errc::result_out_of_range;
    value = parsed;
    return std::errc();
}

}  // namespace orv::ExactDecimal
