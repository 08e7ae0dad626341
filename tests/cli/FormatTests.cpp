// The command's one set of figure formatters.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "cli/Format.h"
#include "cli/SnapshotView.h"
#include "core/Formatters.h"
#include "support/TestLocales.h"

namespace orv::cli {
namespace {

// The POSIX locale: digits without grouping. Other locales are the
// formatters' own tests; here the command's use of them.
const NumberLocale posix("C");

TEST(Format, BytesInStepsOf1024) {
    EXPECT_EQ(formatBytes(0, posix), "0 B");
    EXPECT_EQ(formatBytes(512, posix), "512 B");
    EXPECT_EQ(formatBytes(1023, posix), "1023 B");
    EXPECT_EQ(formatBytes(1024, posix), "1.0 kB");
    EXPECT_EQ(formatBytes(1536, posix), "1.5 kB");
    EXPECT_EQ(formatBytes(uint64_t(64) * 1024 * 1024, posix), "64 MB");
    EXPECT_EQ(formatBytes(uint64_t(1) << 50, posix), "1.0 PB");
    EXPECT_EQ(formatBytes(uint64_t(2048) << 50, posix), "2048 PB");
}

TEST(Format, BytesThatRoundToAWholeUnitShowTheNextUnit) {
    EXPECT_EQ(formatBytes(1024 * 1024 - 1, posix), "1.0 MB");
    EXPECT_EQ(formatBytes((uint64_t(1) << 30) - 1, posix), "1.0 GB");
    EXPECT_EQ(formatBytes(1024 * 1023 + 900, posix), "1.0 MB");  // 1023.9 kB shows as 1024 without a fraction
    EXPECT_EQ(formatBytes(1024 * 9 + 900, posix), "9.9 kB");
}

TEST(Format, RatesRoundToWholeBytesFirst) {
    EXPECT_EQ(formatRate(0, posix), "0 B/s");
    EXPECT_EQ(formatRate(2.4, posix), "2 B/s");
    EXPECT_EQ(formatRate(1023.6, posix), "1.0 kB/s");
    EXPECT_EQ(formatRate(1.5 * 1024 * 1024, posix), "1.5 MB/s");
}

TEST(Format, ANegativeOrUndefinedRateIsZero) {
    EXPECT_EQ(formatRate(-5, posix), "0 B/s");
    EXPECT_EQ(formatRate(std::nan(""), posix), "0 B/s");
    EXPECT_EQ(formatRate(std::numeric_limits<double>::infinity(), posix), "0 B/s");
}

// A byte count reads the same in the command and in Core's formatters.
TEST(Format, OneFormattingOfAByteCount) {
    for (uint64_t bytes : {uint64_t(0), uint64_t(1023), uint64_t(1536), uint64_t(5) << 30}) {
        EXPECT_EQ(formatBytes(bytes, posix), Formatters::bytes(double(bytes), posix));
    }
}

TEST(Format, FiguresInTheLocalesDigits) {
    const NumberLocale german(test::compiledLocale("de_DE"));
    EXPECT_EQ(formatBytes(1536, german), "1,5 kB");
    EXPECT_EQ(formatPercentSign(12.345, german), "12,3 %");
}

TEST(Format, PercentWithAndWithoutTheSign) {
    EXPECT_EQ(formatPercent(12.345, posix), "12.3");
    EXPECT_EQ(formatPercentSign(12.345, posix), "12.3 %");
}

TEST(Format, AnUnknownFigureIsADash) {
    EXPECT_EQ(formatFigure(std::nullopt, posix), "-");
    EXPECT_EQ(formatFigure(0.0, posix), "0.0");
    EXPECT_EQ(formatFigure(41.26, posix), "41.3");
}

TEST(Format, CPUTime) {
    EXPECT_EQ(formatCPUTime(3.456), "3.46");
    EXPECT_EQ(formatCPUTime(123.45), "2:03.45");
    EXPECT_EQ(formatCPUTime(3723.45), "1:02:03.45");
}

// "a:bb" is hours and minutes at every length, as uptime(1) reads: a
// machine up five minutes is not "5:06", which reads as five hours.
TEST(Format, UptimeIsHoursAndMinutes) {
    EXPECT_EQ(formatUptime(Duration::seconds(306)), "0:05");
    EXPECT_EQ(formatUptime(Duration::seconds(4 * 3600 + 5 * 60 + 6)), "4:05");
    EXPECT_EQ(formatUptime(Duration::seconds(86400 + 3600 + 61)), "1 d 1:01");
    EXPECT_EQ(formatUptime(Duration::seconds(3 * 86400 + 23 * 3600 + 59 * 60 + 59)), "3 d 23:59");
}

TEST(Format, ANegativeUptimeIsZero) { EXPECT_EQ(formatUptime(Duration::seconds(-30)), "0:00"); }

TEST(Format, HoursAndMinutesHaveNoDayCount) {
    EXPECT_EQ(formatHoursMinutes(Duration::seconds(65 * 60)), "1:05");
    EXPECT_EQ(formatHoursMinutes(Duration::seconds(30 * 3600)), "30:00");
}

TEST(Format, UTCDateTime) {
    EXPECT_EQ(formatUTCDateTime(Date::fromUnixSeconds(1'700'000'000)), "2023-11-14 22:13:20 UTC");
}

TEST(Format, LocalClockHasHoursMinutesAndSeconds) {
    auto text = formatLocalClock(Date::fromUnixSeconds(1'700'000'000));
    ASSERT_EQ(text.size(), 8u) << text;
    EXPECT_EQ(text[2], ':');
    EXPECT_EQ(text.substr(5), ":20");  // zones differ by whole minutes, never by seconds
}

TEST(Format, FitWidthCountsCodePoints) {
    EXPECT_EQ(fitWidth("héllo", 3), "hél");
    EXPECT_EQ(fitWidth("abc", 5), "abc");
}

// The snapshot's summary and `top` show the uptime alike.
TEST(Format, TheSnapshotSummaryShowsTheUptimeInHoursAndMinutes) {
    Snapshot snapshot;
    snapshot.system.uptime = Duration::seconds(306);
    std::ostringstream out;
    printSnapshot(snapshot, 0, out);
    EXPECT_NE(out.str().find(", up 0:05\n"), std::string::npos) << out.str();
}

}  // namespace
}  // namespace orv::cli
