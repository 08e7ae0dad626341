#include <string>

#include "core/AlertCalendar.h"
#include "core/darwin/CFRef.h"

namespace orv {

AlertCalendar AlertCalendar::current() {
    CFRef<CFTimeZoneRef> zone(CFTimeZoneCopyDefault());
    CFStringRef name = zone ? CFTimeZoneGetName(zone.get()) : nullptr;
    char text[256];
    if (!name || !CFStringGetCString(name, text, sizeof text, kCFStringEncodingUTF8)) return AlertCalendar{"GMT"};
    return AlertCalendar{text};
}

std::optional<AlertCalendar::HourMinute> AlertCalendar::hourAndMinute(Date date) const {
    CFRef<CFStringRef> name(CFStringCreateWithCString(kCFAllocatorDefault, timeZoneID.c_str(), kCFStringEncodingUTF8));
    CFRef<CFTimeZoneRef> zone(name ? CFTimeZoneCreateWithName(kCFAllocatorDefault, name.get(), true) : nullptr);
    if (!zone) zone = CFRef<CFTimeZoneRef>(CFTimeZoneCreateWithName(kCFAllocatorDefault, CFSTR("GMT"), true));
    CFRef<CFCalendarRef> calendar(CFCalendarCreateWithIdentifier(kCFAllocatorDefault, kCFGregorianCalendar));
    if (!calendar || !zone) return std::nullopt;
    CFCalendarSetTimeZone(calendar.get(), zone.get());
    int hour = 0, minute = 0;
    // CFAbsoluteTime counts from the same 2001 reference date as Date.
    if (!CFCalendarDecomposeAbsoluteTime(calendar.get(), date.secondsSinceReferenceDate, "Hm", &hour, &minute)) {
        return std::nullopt;
    }
    return HourMinute{hour, minute};
}

}  // namespace orv
