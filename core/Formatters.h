#pragma once

#include <string>
#include <string_view>

#include "core/Duration.h"
#include "core/Metric.h"
#include "core/NumberLocale.h"

namespace orv {

// The texts of every figure the user reads, in the locale's digits and
// grouping. Each takes the value and a locale, the user's by default.
struct Formatters {
    Formatters() = delete;

    // Sizes and byte rates in steps of 1024 under "B", "kB", "MB", "GB",
    // "TB", "PB": "1023 B", "1.5 kB", "10 MB". One fraction digit below 10
    // of a unit; a figure that would round to 1024 of a unit is written in
    // the next one ("1.0 MB", never "1024 kB"). Negative, NaN or infinite is 0.
    static std::string bytes(double value, const NumberLocale& locale = NumberLocale::current());
    // A percentage rounded to a whole number: "42%", "<1%" above 0 and
    // below 0.5, "–" (en dash) when not finite.
    static std::string percent(double value, const NumberLocale& locale = NumberLocale::current());
    // "42s", "5m", "2h 5m", "3d 4h", in plain digits; negative is 0.
    static std::string duration(Duration value);
    // Milliwatts: "850 mW" below a watt, then "2.3 W", "15 W".
    static std::string power(double milliwatts, const NumberLocale& locale = NumberLocale::current());
    // Degrees Celsius, in Fahrenheit where the locale measures in US units:
    // "22°".
    static std::string temperature(double celsius, const NumberLocale& locale = NumberLocale::current());
    // A count in steps of 1000 under "", "k", "M", "G", "T", "P" with the
    // byte text's rounding carry, followed by one space and `unit` when
    // there is a prefix or a unit: "850", "1.5 k", "2.1 krpm"... "12 MB"
    // would be the decimal reading of a byte count; use bytes() for those.
    static std::string decimal(double value, std::string_view unit = {},
                               const NumberLocale& locale = NumberLocale::current());
    // A plain number with `fractionDigits` fraction digits (halves away
    // from zero), for columns whose unit is in the heading.
    static std::string number(double value, int fractionDigits, const NumberLocale& locale = NumberLocale::current());
    // A figure of `metric` in that metric's unit ("45%", "1.2 GB",
    // "3.4 MB/s", "850 mW", "62°").
    static std::string metricValue(Metric metric, double value, const NumberLocale& locale = NumberLocale::current());
};

}  // namespace orv
