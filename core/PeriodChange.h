#pragma once

#include <boost/describe/class.hpp>
#include <string>
#include <variant>

#include "core/RecordHash.h"

namespace orv {

// A figure's change against the previous period of the same length: either
// relative, as a fraction (0.25 is a quarter more, -0.1 a tenth less), or
// new, when the previous period had nothing to compare with. Written as
// {"relative": {"_0": 0.25}} or {"new": {}}.
struct RelativeChange {
    static constexpr const char* caseName = "relative";
    double _0 = 0;  // unlabelled payload, keyed "_0" on the wire
    friend bool operator==(const RelativeChange&, const RelativeChange&) = default;
};
BOOST_DESCRIBE_STRUCT(RelativeChange, (), (_0))

struct NewChange {
    static constexpr const char* caseName = "new";
    friend bool operator==(const NewChange&, const NewChange&) = default;
};
BOOST_DESCRIBE_STRUCT(NewChange, (), ())

using PeriodChange = std::variant<RelativeChange, NewChange>;

// `new` when the previous total is zero (or not a number), else the relative
// change (current − previous) ÷ previous.
PeriodChange periodChangeBetween(double current, double previous);
// "New", "Same" (under half a percent either way), "+25%", "−10%" (U+2212).
std::string periodChangeText(const PeriodChange& change);
// A rise is new, or at least 1 % more.
bool periodChangeIsRise(const PeriodChange& change);

}  // namespace orv
