#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace orv {

// The locale whose digits, separators and grouping numbers are written in,
// and whose measurement system decides Celsius or Fahrenheit. On Linux it
// is the environment's (LC_ALL, then LC_NUMERIC, then LANG; "C" and "POSIX"
// read as en_US_POSIX, which groups no digits and, as C's LC_MEASUREMENT,
// measures in metric), read from the C library's locale data: digits are
// ASCII as in the system's own tools, and a locale that is not installed
// reads as C. On macOS the user's locale.
// Formatting is thread-safe.
class NumberLocale {
public:
    // A locale by identifier: "en_US", "de_DE", "ar_EG", "de_DE.UTF-8".
    explicit NumberLocale(std::string_view identifier);
    ~NumberLocale();
    NumberLocale(const NumberLocale&);
    NumberLocale& operator=(const NumberLocale&);

    // The user's locale, read once.
    static const NumberLocale& current();
    // The identifier a POSIX locale name stands for ("de_DE.UTF-8@euro" ->
    // "de_DE"; "C", "POSIX" and "" -> "en_US_POSIX").
    static std::string identifierFromPosix(std::string_view posixName);

    const std::string& identifier() const { return identifier_; }
    // `value` with exactly `fractionDigits` fraction digits (halves away
    // from zero), in the locale's digits, with its grouping.
    std::string format(double value, int fractionDigits) const;
    // Whether the locale measures in US units (temperatures in Fahrenheit).
    bool usesUSMeasurement() const;

private:
    struct Formatter;  // the platform's number formatter, one per locale
    std::string identifier_;
    std::shared_ptr<Formatter> formatter_;
};

}  // namespace orv
