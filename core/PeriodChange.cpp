#include "core/PeriodChange.h"

#include <cmath>

namespace orv {

PeriodChange periodChangeBetween(double current, double previous) {
    if (!(previous != 0) || !std::isfinite(previous)) return NewChange{};
    return RelativeChange{(current - previous) / previous};
}

std::string periodChangeText(const PeriodChange& change) {
    if (std::holds_alternative<NewChange>(change)) return "New";
    double q = std::round(std::get<RelativeChange>(change)._0 * 100);  // halves away from zero
    if (!(std::fabs(q) >= 1)) return "Same";
    auto whole = std::to_string(static_cast<long long>(std::fabs(q)));
    return (q > 0 ? "+" : "\u2212") + whole + "%";
}

bool periodChangeIsRise(const PeriodChange& change) {
    if (std::holds_alternative<NewChange>(change)) return true;
    return std::get<RelativeChange>(change)._0 >= 0.01;
}

}  // namespace orv
