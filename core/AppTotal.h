#pragma once

#include <boost/describe/class.hpp>

#include "core/AppIdentity.h"
#include "core/RecordHash.h"

namespace orv {

// One app's total of a figure over a period, a line of a ranking.
struct AppTotal {
    AppIdentity app;
    double value = 0;

    friend bool operator==(const AppTotal&, const AppTotal&) = default;
};
BOOST_DESCRIBE_STRUCT(AppTotal, (), (app, value))

}  // namespace orv
