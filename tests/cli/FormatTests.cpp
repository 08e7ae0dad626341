// The command's one set of figure formatters.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "cli/Format.h"
#include "cli/SnapshotView.h"

namespace orv::cli {
namespace {

TEST(Format, BytesInBinaryUnits) {
    EXPECT_EQ(formatBytes(0), "0 B");
    EXPECT_EQ(formatBytes(512), "512 B");
    EXPECT_EQ(formatBytes(1023), "1023 B");
    EXPECT_EQ(formatBytes(1024), "1.0 KiB");
    EXPECT_EQ(formatBytes(1536), "1.5 KiB");
    EXPECT_EQ(formatBytes(uint64_t(64) * 1024 * 1024), "64.0 MiB");
    EXPECT_EQ(formatBytes(uint64_t(1) << 50), "1.0 PiB");
    EXPECT_EQ(formatBytes(uint64_t(2048) << 50), "2048.0 PiB");
}

TEST(Format, BytesThatRoundToAWholeUnitShowTheNextUnit) {
    EXPECT_EQ(formatBytes(1024 * 1024 - 1), "1.0 MiB");
    EXPECT_EQ(formatBytes((uint64_t(1) << 30) - 1), "1.0 GiB");
    EXPECT_EQ(formatBytes(1024 * 1023 + 900), "1023.9 KiB");
}

TEST(Format, RatesRoundToWholeBytesFirst) {
    EXPECT_EQ(formatRate(0), "0 B/s");
    EXPECT_EQ(formatRate(2.4), "2 B/s");
    EXPECT_EQ(formatRate(1023.6), "1.0 KiB/s");
    EXPECT_EQ(formatRate(1.5 * 1024 * 1024), "1.5 MiB/s");
}

TEST(Format, ANegativeOrUndefinedRateIsZero) {
    EXPECT_EQ(formatRate(-5), "0 B/s");
    EXPECT_EQ(formatRate(std::nan("")), "0 B/s");
    EXPECT_EQ(formatRate(std::numeric_limits<double>::infinity()), "0 B/s");
}

TEST(Format, PercentWithAndWithoutTheSign) {
    EXPECT_EQ(formatPercent(12.345), "12.3");
    EXPECT_EQ(formatPercentSign(12.345), "12.3 %");
}

TEST(Format, AnUnknownFigureIsADash) {
    EXPECT_EQ(formatFigure(std::nullopt), "-");
    EXPECT_EQ(formatFigure(0.0), "0.0");
    EXPECT_EQ(formatFigure(41.26), "41.3");
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
