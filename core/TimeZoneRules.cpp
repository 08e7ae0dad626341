#include "core/TimeZoneRules.h"

#include <algorithm>
#include <cctype>

#include "core/ByteDecoding.h"

namespace orv {

namespace {

using ByteDecoding::loadBigEndian;

// Days since 1970-01-01 of a proleptic Gregorian date.
int64_t daysFromCivil(int64_t year, int month, int day) {
    year -= month <= 2;
    int64_t era = (year >= 0 ? year : year - 399) / 400;
    int64_t yoe = year - era * 400;
    int64_t doy = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

// The year of a count of days since 1970-01-01.
int64_t yearOfDays(int64_t days) {
    days += 719468;
    int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    int64_t doe = days - era * 146097;
    int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    int64_t mp = (5 * doy + 2) / 153;
    int month = int(mp < 10 ? mp + 3 : mp - 9);
    return yoe + era * 400 + (month <= 2);
}

int64_t floorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

bool isLeap(int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysInMonth(int64_t year, int month) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeap(year) ? 29 : days[month - 1];
}

// Local seconds since 1970-01-01 (of the wall clock) at which `day` of
// `year` reaches its time of change.
int64_t localSecondsOf(const TimeZoneRules::RuleDay& day, int64_t year) {
    int64_t days = daysFromCivil(year, 1, 1);
    using Kind = TimeZoneRules::RuleDay::Kind;
    switch (day.kind) {
        case Kind::julianNoLeap: days += day.day - 1 + (isLeap(year) && day.day >= 60); break;
        case Kind::julian: days += day.day; break;
        case Kind::monthWeekDay: {
            int64_t first = daysFromCivil(year, day.month, 1);
            int weekday = int(((first + 4) % 7 + 7) % 7);  // 1970-01-01 was a Thursday
            int date = 1 + (day.day - weekday + 7) % 7 + 7 * (day.week - 1);
            while (date > daysInMonth(year, day.month)) date -= 7;
            days = first + date - 1;
            break;
        }
    }
    return days * 86400 + day.secondsIntoDay;
}

// A POSIX TZ rule, read left to right.
class PosixReader {
public:
    explicit PosixReader(std::string_view text) : text_(text) {}

    std::optional<TimeZoneRules::PosixRule> read() {
        TimeZoneRules::PosixRule rule;
        if (!name()) return std::nullopt;
        auto standard = offset();
        if (!standard) return std::nullopt;
        rule.standardOffset = -*standard;  // POSIX counts west of UTC
        if (at_ == text_.size()) return rule;
        if (!name()) return std::nullopt;
        rule.daylightOffset = rule.standardOffset + 3600;
        if (at_ < text_.size() && text_[at_] != ',') {
            auto daylight = offset();
            if (!daylight) return std::nullopt;
            rule.daylightOffset = -*daylight;
        }
        if (at_ == text_.size()) {
            // No dates given: the United States' rule, as the C library assumes.
            rule.start = {TimeZoneRules::RuleDay::Kind::monthWeekDay, 0, 3, 2, 7200};
            rule.end = {TimeZoneRules::RuleDay::Kind::monthWeekDay, 0, 11, 1, 7200};
            return rule;
        }
        if (!accept(',')) return std::nullopt;
        auto start = ruleDay();
        if (!start || !accept(',')) return std::nullopt;
        auto end = ruleDay();
        if (!end || at_ != text_.size()) return std::nullopt;
        rule.start = *start;
        rule.end = *end;
        return rule;
    }

private:
    bool accept(char c) {
        if (at_ < text_.size() && text_[at_] == c) {
            ++at_;
            return true;
        }
        return false;
    }

    // A zone abbreviation: three or more letters, or <…> around letters,
    // digits and signs.
    bool name() {
        size_t begin = at_;
        if (accept('<')) {
            while (at_ < text_.size() && text_[at_] != '>') ++at_;
            if (!accept('>')) return false;
            return at_ - begin >= 5;
        }
        while (at_ < text_.size() && std::isalpha(static_cast<unsigned char>(text_[at_]))) ++at_;
        return at_ - begin >= 3;
    }

    std::optional<int64_t> number(int64_t max) {
        size_t begin = at_;
        int64_t value = 0;
        while (at_ < text_.size() && std::isdigit(static_cast<unsigned char>(text_[at_])) && at_ - begin < 3) {
            value = value * 10 + (text_[at_++] - '0');
        }
        if (at_ == begin || value > max) return std::nullopt;
        return value;
    }

    // [+-]hh[:mm[:ss]] in seconds, hours up to `maxHours`.
    std::optional<int64_t> time(int64_t maxHours) {
        int64_t sign = 1;
        if (accept('-')) sign = -1;
        else accept('+');
        auto hours = number(maxHours);
        if (!hours) return std::nullopt;
        int64_t seconds = *hours * 3600;
        if (accept(':')) {
            auto minutes = number(59);
            if (!minutes) return std::nullopt;
            seconds += *minutes * 60;
            if (accept(':')) {
                auto rest = number(59);
                if (!rest) return std::nullopt;
                seconds += *rest;
            }
        }
        return sign * seconds;
    }

    std::optional<int64_t> offset() { return time(24); }

    std::optional<TimeZoneRules::RuleDay> ruleDay() {
        TimeZoneRules::RuleDay day;
        using Kind = TimeZoneRules::RuleDay::Kind;
        if (accept('M')) {
            auto month = number(12);
            if (!month || *month < 1 || !accept('.')) return std::nullopt;
            auto week = number(5);
            if (!week || *week < 1 || !accept('.')) return std::nullopt;
            auto weekday = number(6);
            if (!weekday) return std::nullopt;
            day = {Kind::monthWeekDay, int(*weekday), int(*month), int(*week), 7200};
        } else if (accept('J')) {
            auto n = number(365);
            if (!n || *n < 1) return std::nullopt;
            day = {Kind::julianNoLeap, int(*n), 0, 0, 7200};
        } else {
            auto n = number(365);
            if (!n) return std::nullopt;
            day = {Kind::julian, int(*n), 0, 0, 7200};
        }
        if (accept('/')) {
            // RFC 8536 lets the time run from −167 to 167 hours.
            auto seconds = time(167);
            if (!seconds) return std::nullopt;
            day.secondsIntoDay = *seconds;
        }
        return day;
    }

    std::string_view text_;
    size_t at_ = 0;
};

int64_t offsetUnder(const TimeZoneRules::PosixRule& rule, int64_t unixSeconds) {
    if (!rule.daylightOffset) return rule.standardOffset;
    int64_t year = yearOfDays(floorDiv(unixSeconds + rule.standardOffset, 86400));
    // Daylight time starts at a standard wall-clock time and ends at a
    // daylight one.
    int64_t start = localSecondsOf(rule.start, year) - rule.standardOffset;
    int64_t end = localSecondsOf(rule.end, year) - *rule.daylightOffset;
    bool daylight = start < end ? unixSeconds >= start && unixSeconds < end
                                : !(unixSeconds >= end && unixSeconds < start);  // the southern hemisphere
    return daylight ? *rule.daylightOffset : rule.standardOffset;
}

}  // namespace

std::optional<TimeZoneRules> TimeZoneRules::decode(std::span<const uint8_t> bytes) {
    // Header: magic, version, 15 reserved bytes, six counts.
    struct Counts {
        uint32_t isut, isstd, leap, time, type, chars;
    };
    auto header = [&](size_t at) -> std::optional<Counts> {
        if (!ByteDecoding::has(bytes, at, 44) || std::string_view(reinterpret_cast<const char*>(&bytes[at]), 4) != "TZif")
            return std::nullopt;
        uint32_t values[6];
        for (size_t i = 0; i < 6; ++i) values[i] = *loadBigEndian<uint32_t>(bytes, at + 20 + 4 * i);
        Counts counts{values[0], values[1], values[2], values[3], values[4], values[5]};
        if (counts.type == 0 || counts.type > 256 || counts.chars == 0 || counts.time > 100000 || counts.leap > 100000 ||
            (counts.isut != 0 && counts.isut != counts.type) || (counts.isstd != 0 && counts.isstd != counts.type))
            return std::nullopt;
        return counts;
    };
    auto blockSize = [](const Counts& c, size_t timeSize) {
        return size_t(c.time) * timeSize + c.time + size_t(c.type) * 6 + c.chars + size_t(c.leap) * (timeSize + 4) +
               c.isstd + c.isut;
    };

    auto first = header(0);
    if (!first) return std::nullopt;
    size_t at = 44;
    size_t timeSize = 4;
    Counts counts = *first;
    bool hasFooter = bytes[4] >= '2';
    if (hasFooter) {
        size_t second = at + blockSize(*first, 4);
        auto later = header(second);
        if (!later) return std::nullopt;
        counts = *later;
        at = second + 44;
        timeSize = 8;
    }
    if (!ByteDecoding::has(bytes, at, blockSize(counts, timeSize))) return std::nullopt;

    size_t types = at + size_t(counts.time) * (timeSize + 1);
    auto typeOffset = [&](size_t index) -> std::optional<int64_t> {
        if (index >= counts.type) return std::nullopt;
        return int64_t(*loadBigEndian<int32_t>(bytes, types + index * 6));
    };
    TimeZoneRules rules;
    rules.offsetBefore_ = *typeOffset(0);
    rules.transitions_.reserve(counts.time);
    for (size_t i = 0; i < counts.time; ++i) {
        int64_t when = timeSize == 8 ? *loadBigEndian<int64_t>(bytes, at + i * 8)
                                     : int64_t(*loadBigEndian<int32_t>(bytes, at + i * 4));
        auto offset = typeOffset(bytes[at + size_t(counts.time) * timeSize + i]);
        if (!offset) return std::nullopt;
        if (!rules.transitions_.empty() && when <= rules.transitions_.back().at) return std::nullopt;
        rules.transitions_.push_back({when, *offset});
    }
    if (hasFooter) {
        size_t footer = at + blockSize(counts, timeSize);
        if (footer >= bytes.size() || bytes[footer] != '\n') return std::nullopt;
        auto text = std::string_view(reinterpret_cast<const char*>(bytes.data()) + footer + 1, bytes.size() - footer - 1);
        auto newline = text.find('\n');
        if (newline == std::string_view::npos) return std::nullopt;
        text = text.substr(0, newline);
        if (!text.empty()) {
            rules.after_ = PosixReader(text).read();
            if (!rules.after_) return std::nullopt;
        }
    }
    return rules;
}

std::optional<TimeZoneRules> TimeZoneRules::fromPosix(std::string_view rule) {
    auto read = PosixReader(rule).read();
    if (!read) return std::nullopt;
    TimeZoneRules rules;
    rules.offsetBefore_ = read->standardOffset;
    rules.after_ = read;
    return rules;
}

TimeZoneRules TimeZoneRules::utc() { return TimeZoneRules(); }

int64_t TimeZoneRules::offsetAt(int64_t unixSeconds) const {
    auto next = std::upper_bound(transitions_.begin(), transitions_.end(), unixSeconds,
                                 [](int64_t t, const Transition& transition) { return t < transition.at; });
    if (next == transitions_.end() && after_) return offsetUnder(*after_, unixSeconds);
    if (next == transitions_.begin()) return offsetBefore_;
    return std::prev(next)->offset;
}

}  // namespace orv
