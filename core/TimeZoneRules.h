#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace orv {

// When a time zone's offset from UTC changes, read from a compiled zone
// file (TZif, RFC 8536, as under /usr/share/zoneinfo) or from a POSIX TZ
// rule ("CET-1CEST,M3.5.0,M10.5.0/3"), the form such a file's footer
// carries for the times after its last transition.
class TimeZoneRules {
public:
    // A TZif file's rules: the 64-bit block of version 2 and later, else
    // the 32-bit one; absent when the bytes are not a whole TZif file.
    static std::optional<TimeZoneRules> decode(std::span<const uint8_t> bytes);
    // A POSIX TZ rule; absent when it does not parse.
    static std::optional<TimeZoneRules> fromPosix(std::string_view rule);
    // UTC itself.
    static TimeZoneRules utc();

    // Seconds east of UTC that the wall clock shows at `unixSeconds`.
    int64_t offsetAt(int64_t unixSeconds) const;

    // A day of the year in a POSIX rule: Jn (1–365, no 29 February), n
    // (0–365), or Mm.w.d (day d of week w of month m, week 5 the last).
    struct RuleDay {
        enum class Kind { julianNoLeap, julian, monthWeekDay } kind = Kind::monthWeekDay;
        int day = 0;
        int month = 0;
        int week = 0;
        int64_t secondsIntoDay = 7200;  // local time of the change, 02:00 unless given
    };
    // A POSIX rule's standard offset and, when it has one, its daylight
    // period.
    struct PosixRule {
        int64_t standardOffset = 0;  // seconds east of UTC
        std::optional<int64_t> daylightOffset;
        RuleDay start, end;
    };

private:
    struct Transition {
        int64_t at = 0;  // Unix seconds
        int64_t offset = 0;
    };
    std::vector<Transition> transitions_;
    int64_t offsetBefore_ = 0;  // before the first transition
    std::optional<PosixRule> after_;  // after the last one
};

}  // namespace orv
