#include <unicode/ucal.h>
#include <unicode/ustring.h>

#include <memory>

#include "core/AlertCalendar.h"

namespace orv {

namespace {

struct CalendarCloser {
    void operator()(UCalendar* c) const { ucal_close(c); }
};

std::u16string utf16(const std::string& text) {
    std::u16string out(text.size() + 1, u'\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8(reinterpret_cast<UChar*>(out.data()), int32_t(out.size()), &length, text.data(),
                  int32_t(text.size()), &status);
    if (U_FAILURE(status)) return {};
    out.resize(size_t(length));
    return out;
}

}  // namespace

AlertCalendar AlertCalendar::current() {
    // ICU's default zone follows TZ and /etc/localtime, as localtime(3) does.
    UChar zone[128];
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = ucal_getDefaultTimeZone(zone, 128, &status);
    if (U_FAILURE(status)) return AlertCalendar{"GMT"};
    char text[256];
    int32_t textLength = 0;
    status = U_ZERO_ERROR;
    u_strToUTF8(text, sizeof text, &textLength, zone, length, &status);
    if (U_FAILURE(status)) return AlertCalendar{"GMT"};
    return AlertCalendar{std::string(text, size_t(textLength))};
}

std::optional<AlertCalendar::HourMinute> AlertCalendar::hourAndMinute(Date date) const {
    auto zone = utf16(timeZoneID);
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UCalendar, CalendarCloser> calendar(ucal_open(reinterpret_cast<const UChar*>(zone.data()),
                                                                  int32_t(zone.size()), "en_US_POSIX",
                                                                  UCAL_GREGORIAN, &status));
    if (U_FAILURE(status) || !calendar) return std::nullopt;
    ucal_setMillis(calendar.get(), date.unixSeconds() * 1000.0, &status);
    int hour = ucal_get(calendar.get(), UCAL_HOUR_OF_DAY, &status);
    int minute = ucal_get(calendar.get(), UCAL_MINUTE, &status);
    if (U_FAILURE(status)) return std::nullopt;
    return HourMinute{hour, minute};
}

}  // namespace orv
