// Every figure's text, in the POSIX locale (digits without grouping), and
// the locale's separators and grouping in en_US, de_DE, en_IN and ar_EG,
// as the C library's locale data give them.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "core/Formatters.h"
#include "support/TestLocales.h"

namespace orv {
namespace {

const NumberLocale posix("C");
// Compiled on first use, so that LOCPATH names them before they are read.
const NumberLocale& us() {
    static const NumberLocale locale(test::compiledLocale("en_US"));
    return locale;
}
const NumberLocale& german() {
    static const NumberLocale locale(test::compiledLocale("de_DE"));
    return locale;
}
const NumberLocale& egypt() {
    static const NumberLocale locale(test::compiledLocale("ar_EG"));
    return locale;
}
const NumberLocale& india() {
    static const NumberLocale locale(test::compiledLocale("en_IN"));
    return locale;
}

TEST(Formatters, BytesEdgeCases) {
    EXPECT_EQ(Formatters::bytes(0, posix), "0 B");
    EXPECT_EQ(Formatters::bytes(1023, posix), "1023 B");
    EXPECT_EQ(Formatters::bytes(1024, posix), "1.0 kB");
    EXPECT_EQ(Formatters::bytes(10240, posix), "10 kB");
    EXPECT_EQ(Formatters::bytes(-5, posix), "0 B");
    EXPECT_EQ(Formatters::bytes(std::nan(""), posix), "0 B");
    EXPECT_EQ(Formatters::bytes(std::numeric_limits<double>::infinity(), posix), "0 B");
    EXPECT_EQ(Formatters::bytes(1536, posix), "1.5 kB");
    EXPECT_EQ(Formatters::bytes(10.0 * 1024 * 1024, posix), "10 MB");
}

TEST(Formatters, BytesCarryToTheNextUnit) {
    EXPECT_EQ(Formatters::bytes(1023.96 * 1024, posix), "1.0 MB");
    EXPECT_EQ(Formatters::bytes(1023.4, posix), "1023 B");
    EXPECT_EQ(Formatters::bytes(1023.5, posix), "1.0 kB");  // rounds to 1024 bytes
    EXPECT_EQ(Formatters::bytes(9.96 * 1024, posix), "10 kB");
    EXPECT_EQ(Formatters::bytes(9.94 * 1024, posix), "9.9 kB");
    EXPECT_EQ(Formatters::bytes(std::ldexp(1.0, 50), posix), "1.0 PB");
    EXPECT_EQ(Formatters::bytes(std::ldexp(2048.0, 50), posix), "2048 PB");  // no unit after PB
}

TEST(Formatters, PercentEdgeCases) {
    EXPECT_EQ(Formatters::percent(0.3, posix), "<1%");
    EXPECT_EQ(Formatters::percent(0, posix), "0%");
    EXPECT_EQ(Formatters::percent(99.5, posix), "100%");
    EXPECT_EQ(Formatters::percent(0.5, posix), "1%");
    EXPECT_EQ(Formatters::percent(std::nan(""), posix), "\u2013");
    EXPECT_EQ(Formatters::percent(std::numeric_limits<double>::infinity(), posix), "\u2013");
    EXPECT_EQ(Formatters::percent(-3.5, posix), "-4%");
}

TEST(Formatters, DurationEdgeCases) {
    EXPECT_EQ(Formatters::duration(Duration::seconds(59)), "59s");
    EXPECT_EQ(Formatters::duration(Duration::seconds(3599)), "59m");
    EXPECT_EQ(Formatters::duration(Duration::seconds(3600)), "1h");
    EXPECT_EQ(Formatters::duration(Duration::seconds(3660)), "1h 1m");
    EXPECT_EQ(Formatters::duration(Duration::seconds(90000)), "1d 1h");
    EXPECT_EQ(Formatters::duration(Duration::seconds(86400)), "1d");
    EXPECT_EQ(Formatters::duration(Duration::seconds(-5)), "0s");
    EXPECT_EQ(Formatters::duration(Duration::seconds(7500)), "2h 5m");
    EXPECT_EQ(Formatters::duration(Duration::seconds(3 * 86400 + 4 * 3600 + 59)), "3d 4h");
}

TEST(Formatters, Power) {
    EXPECT_EQ(Formatters::power(850, posix), "850 mW");
    EXPECT_EQ(Formatters::power(2340, posix), "2.3 W");
    EXPECT_EQ(Formatters::power(15400, posix), "15 W");
    EXPECT_EQ(Formatters::power(999.5, posix), "1000 mW");
    EXPECT_EQ(Formatters::power(-1, posix), "0 mW");
    EXPECT_EQ(Formatters::power(9960, posix), "10 W");
}

TEST(Formatters, TemperatureInTheLocalesSystem) {
    EXPECT_EQ(Formatters::temperature(21.6, german()), "22\u00B0");
    EXPECT_EQ(Formatters::temperature(21.6, us()), "71\u00B0");
    EXPECT_EQ(Formatters::temperature(21.6, posix), "22\u00B0");  // the C locale measures in metric
    EXPECT_TRUE(us().usesUSMeasurement());
    EXPECT_FALSE(german().usesUSMeasurement());
    EXPECT_FALSE(egypt().usesUSMeasurement());
}

TEST(Formatters, DecimalInStepsOfAThousand) {
    EXPECT_EQ(Formatters::decimal(999, {}, posix), "999");
    EXPECT_EQ(Formatters::decimal(999.5, {}, posix), "1.0 k");
    EXPECT_EQ(Formatters::decimal(1500, "Hz", posix), "1.5 kHz");
    EXPECT_EQ(Formatters::decimal(999960, {}, posix), "1.0 M");
    EXPECT_EQ(Formatters::decimal(42, "rpm", posix), "42 rpm");
}

TEST(Formatters, AmericanGrouping) {
    EXPECT_EQ(Formatters::bytes(1023, us()), "1,023 B");
    EXPECT_EQ(Formatters::bytes(1536, us()), "1.5 kB");
    EXPECT_EQ(Formatters::number(1234567.891, 2, us()), "1,234,567.89");
    EXPECT_EQ(Formatters::power(2340, us()), "2.3 W");
}

TEST(Formatters, GermanSeparators) {
    EXPECT_EQ(Formatters::bytes(1536, german()), "1,5 kB");
    EXPECT_EQ(Formatters::bytes(1023, german()), "1.023 B");
    EXPECT_EQ(Formatters::percent(42.4, german()), "42%");
    EXPECT_EQ(Formatters::number(1234567.891, 2, german()), "1.234.567,89");
}

TEST(Formatters, ArabicLocaleAsTheSystemWritesIt) {
    // glibc's ar_EG writes ASCII digits with a point and groups by three,
    // as every other tool on the system shows its figures.
    EXPECT_EQ(Formatters::bytes(1536, egypt()), "1.5 kB");
    EXPECT_EQ(Formatters::bytes(1023, egypt()), "1,023 B");
    EXPECT_EQ(Formatters::percent(42, egypt()), "42%");
    EXPECT_EQ(Formatters::temperature(21.6, egypt()), "22\u00B0");
}

TEST(Formatters, IndianGroupingByTwoAboveTheThousands) {
    EXPECT_EQ(Formatters::number(1234567.891, 2, india()), "12,34,567.89");
    EXPECT_EQ(Formatters::number(999, 0, india()), "999");
    EXPECT_EQ(Formatters::number(1000, 0, india()), "1,000");
    EXPECT_FALSE(india().usesUSMeasurement());
}

TEST(Formatters, MetricValuesUseTheirUnit) {
    EXPECT_EQ(Formatters::metricValue(Metric::cpu, 45.2, posix), "45%");
    EXPECT_EQ(Formatters::metricValue(Metric::memory, 1536, posix), "1.5 kB");
    EXPECT_EQ(Formatters::metricValue(Metric::netIn, 1536, posix), "1.5 kB/s");
    EXPECT_EQ(Formatters::metricValue(Metric::energy, 850, posix), "850 mW");
}

TEST(NumberLocale, ANameWithoutCodesetOpensItsUTF8Locale) {
    test::compiledLocale("de_DE");
    const NumberLocale plain("de_DE");
    EXPECT_EQ(plain.identifier(), "de_DE");
    EXPECT_EQ(plain.format(1234.5, 1), "1.234,5");
}

TEST(NumberLocale, ALocaleThatIsNotInstalledReadsAsC) {
    const NumberLocale missing("xx_YY.UTF-8");
    EXPECT_EQ(missing.format(1234567.25, 1), "1234567.3");
    EXPECT_FALSE(missing.usesUSMeasurement());
    EXPECT_EQ(NumberLocale("C.UTF-8").format(1234567.25, 1), "1234567.3");
}

TEST(NumberLocale, PosixNames) {
    EXPECT_EQ(NumberLocale::identifierFromPosix("de_DE.UTF-8"), "de_DE");
    EXPECT_EQ(NumberLocale::identifierFromPosix("de_DE@euro"), "de_DE");
    EXPECT_EQ(NumberLocale::identifierFromPosix("C.UTF-8"), "en_US_POSIX");
    EXPECT_EQ(NumberLocale::identifierFromPosix("POSIX"), "en_US_POSIX");
    EXPECT_EQ(NumberLocale::identifierFromPosix(""), "en_US_POSIX");
}

}  // namespace
}  // namespace orv
