#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>

#include "core/AlertCalendar.h"
#include "core/Date.h"
#include "core/RecordHash.h"

namespace orv {

// A daily period without alerts, in minutes after midnight: `startMinute`
// is inside it, `endMinute` is the first minute after it. An end before the
// start wraps past midnight (22:00 to 07:00); equal ends make an empty
// period, never a whole day.
struct QuietHours {
    int64_t startMinute = 0;
    int64_t endMinute = 0;

    // Whether `date`, read on the wall clock of `calendar`, falls in the
    // period. A component the calendar does not supply counts as 0.
    bool contains(Date date, const AlertCalendar& calendar) const;
    // The same test for a minute of the day already known.
    bool containsMinuteOfDay(int64_t minute) const;

    friend bool operator==(const QuietHours&, const QuietHours&) = default;
};
BOOST_DESCRIBE_STRUCT(QuietHours, (), (startMinute, endMinute))

}  // namespace orv
