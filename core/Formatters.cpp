#include "core/Formatters.h"

#include <fmt/format.h>

#include <cmath>
#include <iterator>

namespace orv {

namespace {

// `value` in steps of `step` under `units`: whole below one step, then one
// fraction digit while under 10 of a unit. A figure that rounds to a whole
// step of its unit moves on to the next unit, so 1023.96 kB reads 1.0 MB.
template <size_t N>
std::string scaled(double value, double step, const std::string_view (&units)[N], std::string_view suffix,
                   const NumberLocale& locale) {
    if (!(value > 0) || std::isinf(value)) value = 0;  // no baseline yet, or no figure
    auto join = [&](const std::string& number, std::string_view unit) {
        std::string text = number;
        if (!unit.empty() || !suffix.empty()) {
            text += ' ';
            text += unit;
            text += suffix;
        }
        return text;
    };
    if (std::round(value) < step) return join(locale.format(std::round(value), 0), units[0]);
    size_t unit = 0;
    int digits = 0;
    while (true) {
        value /= step;
        ++unit;
        digits = std::round(value * 10) / 10 < 10 ? 1 : 0;
        double shown = digits == 1 ? std::round(value * 10) / 10 : std::round(value);
        if (shown < step || unit + 1 == N) break;
    }
    return join(locale.format(value, digits), units[unit]);
}

double roundHalfAway(double value) { return std::round(value); }

}  // namespace

std::string Formatters::bytes(double value, const NumberLocale& locale) {
    static constexpr std::string_view units[] = {"B", "kB", "MB", "GB", "TB", "PB"};
    return scaled(value, 1024, units, {}, locale);
}

std::string Formatters::decimal(double value, std::string_view unit, const NumberLocale& locale) {
    static constexpr std::string_view prefixes[] = {"", "k", "M", "G", "T", "P"};
    return scaled(value, 1000, prefixes, unit, locale);
}

std::string Formatters::percent(double value, const NumberLocale& locale) {
    if (!std::isfinite(value)) return "\u2013";
    if (value > 0 && value < 0.5) return "<1%";
    return locale.format(roundHalfAway(value), 0) + "%";
}

std::string Formatters::duration(Duration value) {
    int64_t seconds = value.wholeSeconds() > 0 ? value.wholeSeconds() : 0;
    if (seconds < 60) return fmt::format("{}s", seconds);
    if (seconds < 3600) return fmt::format("{}m", seconds / 60);
    if (seconds < 86400) {
        int64_t minutes = seconds % 3600 / 60;
        return minutes ? fmt::format("{}h {}m", seconds / 3600, minutes) : fmt::format("{}h", seconds / 3600);
    }
    int64_t hours = seconds % 86400 / 3600;
    return hours ? fmt::format("{}d {}h", seconds / 86400, hours) : fmt::format("{}d", seconds / 86400);
}

std::string Formatters::power(double milliwatts, const NumberLocale& locale) {
    if (!(milliwatts > 0)) milliwatts = 0;
    if (milliwatts < 1000) return locale.format(roundHalfAway(milliwatts), 0) + " mW";
    double watts = milliwatts / 1000;
    int digits = std::round(watts * 10) / 10 < 10 ? 1 : 0;
    return locale.format(watts, digits) + " W";
}

std::string Formatters::temperature(double celsius, const NumberLocale& locale) {
    double degrees = locale.usesUSMeasurement() ? celsius * 9 / 5 + 32 : celsius;
    return locale.format(roundHalfAway(degrees), 0) + "\u00B0";
}

std::string Formatters::number(double value, int fractionDigits, const NumberLocale& locale) {
    return locale.format(value, fractionDigits);
}

std::string Formatters::metricValue(Metric metric, double value, const NumberLocale& locale) {
    switch (metricUnit(metric)) {
        case MetricUnit::percent: return percent(value, locale);
        case MetricUnit::bytes: return bytes(value, locale);
        case MetricUnit::bytesPerSecond: return bytes(value, locale) + "/s";
        case MetricUnit::milliwatts: return power(value, locale);
        case MetricUnit::score: return decimal(value, {}, locale);
        case MetricUnit::celsius: return temperature(value, locale);
        case MetricUnit::rpm: return number(value, 0, locale) + " rpm";
        case MetricUnit::level: return number(value, 1, locale);
    }
    return number(value, 1, locale);
}

}  // namespace orv
