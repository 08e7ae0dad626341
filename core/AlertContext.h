#pragma once

#include <boost/describe/class.hpp>
#include <optional>
#include <string>

#include "core/AlertCalendar.h"
#include "core/Date.h"
#include "core/RecordHash.h"

namespace orv {

// The circumstances of one alert evaluation. On Linux there is no front app
// unless the desktop says which one it is; absent exempts nobody.
struct AlertContext {
    Date now;
    std::optional<std::string> frontmostAppID;
    AlertCalendar calendar;

    friend bool operator==(const AlertContext&, const AlertContext&) = default;
};
BOOST_DESCRIBE_STRUCT(AlertContext, (), (now, frontmostAppID, calendar))

}  // namespace orv
