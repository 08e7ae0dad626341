#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "core/Date.h"
#include "core/Duration.h"
#include "core/NumberLocale.h"

namespace orv::cli {

// Every figure the command prints goes through one of these, so that a
// figure reads the same in every view. Numbers are Core's Formatters in the
// user's locale (its digits, separators and grouping); the clock-like texts
// (CPU time, uptime, clock times) stay in plain digits, as ps and uptime
// write them.

// Steps of 1024 under "B", "kB", "MB"…: "512 B", "1.5 kB", "64 MB". A
// size that would round to 1024 of a unit is shown in the next one
// ("1.0 MB", not "1024 kB").
std::string formatBytes(uint64_t bytes, const NumberLocale& locale = NumberLocale::current());
// A byte rate: "1.2 MB/s"; a negative or undefined rate (no baseline yet)
// is "0 B/s".
std::string formatRate(double bytesPerSecond, const NumberLocale& locale = NumberLocale::current());
// A rate that may not be measured ("-" then, as formatFigure writes it).
std::string formatRate(const std::optional<double>& bytesPerSecond,
                       const NumberLocale& locale = NumberLocale::current());
std::string formatCPUTime(double seconds);        // "1:02:03.45" / "2:03.45" / "3.45"
// "12.3", under a "%" column heading.
std::string formatPercent(double percent, const NumberLocale& locale = NumberLocale::current());
// "12.3 %", in running text.
std::string formatPercentSign(double percent, const NumberLocale& locale = NumberLocale::current());
// A figure that may be unknown (an energy impact not measured): "12.3" or "-".
std::string formatFigure(const std::optional<double>& value, const NumberLocale& locale = NumberLocale::current());
// Hours and minutes, as uptime(1) shows them: "3 d 4:05", "4:05", "0:05".
// "a:bb" is always hours and minutes, whatever the length.
std::string formatUptime(Duration uptime);
// Hours and minutes without a day count: "1:05", "30:00" (a battery's time
// to full or empty).
std::string formatHoursMinutes(Duration duration);
std::string formatLocalClock(Date at);            // "14:03:59", local time
std::string formatUTCDateTime(Date at);           // "2023-11-14 22:13:20 UTC"
// The user's login name, or the number when the uid has none; cached.
std::string userName(uint32_t uid);
// Cuts `text` to `width` display columns (counting UTF-8 code points).
std::string fitWidth(const std::string& text, size_t width);

}  // namespace orv::cli
