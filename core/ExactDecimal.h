#pragma once

#include <string_view>
#include <system_error>

namespace orv {

// Decimal text to the nearest double, exactly (correct rounding, however
// many digits), whatever the locale: what a JSON number means.
namespace ExactDecimal {

// Reads the whole of `text`, a number in JSON's grammar. std::errc{} with
// `value` set; result_out_of_range when the magnitude is past a double's
// (a magnitude below the smallest subnormal reads as a signed zero, without
// error); invalid_argument when the text is not such a number.
std::errc read(std::string_view text, double& value);

}  // namespace ExactDecimal

}  // namespace orv
