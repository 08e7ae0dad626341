#pragma once

#include <boost/describe/class.hpp>
#include <optional>
#include <string>

#include "core/Date.h"
#include "core/RecordHash.h"

namespace orv {

// The Gregorian calendar in one time zone, in which daily periods such as
// quiet hours are read. The zone is an IANA identifier ("Europe/Berlin");
// an unknown identifier reads as GMT, as the platform's calendar does.
struct AlertCalendar {
    std::string timeZoneID;

    struct HourMinute {
        int hour = 0;
        int minute = 0;
    };

    // The calendar of the user's current time zone.
    static AlertCalendar current();
    // The hour (0–23) and minute of `date` on the wall clock of the zone;
    // absent when the calendar cannot break the date down.
    std::optional<HourMinute> hourAndMinute(Date date) const;

    friend bool operator==(const AlertCalendar&, const AlertCalendar&) = default;
};
BOOST_DESCRIBE_STRUCT(AlertCalendar, (), (timeZoneID))

}  // namespace orv
