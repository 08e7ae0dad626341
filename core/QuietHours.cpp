#include "core/QuietHours.h"

namespace orv {

bool QuietHours::contains(Date date, const AlertCalendar& calendar) const {
    auto parts = calendar.hourAndMinute(date).value_or(AlertCalendar::HourMinute{});
    return containsMinuteOfDay(int64_t(parts.hour) * 60 + parts.minute);
}

bool QuietHours::containsMinuteOfDay(int64_t minute) const {
    if (startMinute == endMinute) return false;
    if (endMinute > startMinute) return minute >= startMinute && minute < endMinute;
    return minute >= startMinute || minute < endMinute;
}

}  // namespace orv
