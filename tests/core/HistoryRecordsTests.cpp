// Metrics, ranges, grades, period changes and the small records of charts.
#include <gtest/gtest.h>

#include <functional>

#include "core/AppTotal.h"
#include "core/BatteryDay.h"
#include "core/DecodingError.h"
#include "core/HistoryRange.h"
#include "core/JsonCoding.h"
#include "core/Metric.h"
#include "core/MetricStatus.h"
#include "core/PeriodChange.h"
#include "core/SeriesPoint.h"

namespace orv {
namespace {

TEST(PeriodChange, UnderHalfAPercentIsSame) {
    EXPECT_EQ(periodChangeText(RelativeChange{0.004}), "Same");
    EXPECT_EQ(periodChangeText(RelativeChange{-0.004}), "Same");
    EXPECT_EQ(periodChangeText(RelativeChange{0}), "Same");
}

TEST(PeriodChange, HalvesRoundAwayFromZero) {
    EXPECT_EQ(periodChangeText(RelativeChange{0.005}), "+1%");
    EXPECT_EQ(periodChangeText(RelativeChange{-0.005}), "\u22121%");
}

TEST(PeriodChange, AFallUsesTheMinusSign) {
    EXPECT_EQ(periodChangeText(RelativeChange{-0.25}), "\u221225%");
    EXPECT_EQ(periodChangeText(RelativeChange{0.25}), "+25%");
    EXPECT_EQ(periodChangeText(NewChange{}), "New");
}

TEST(PeriodChange, Rise) {
    EXPECT_FALSE(periodChangeIsRise(RelativeChange{-0.25}));
    EXPECT_TRUE(periodChangeIsRise(RelativeChange{0.01}));
    EXPECT_FALSE(periodChangeIsRise(RelativeChange{0.0099}));
    EXPECT_TRUE(periodChangeIsRise(NewChange{}));
}

TEST(PeriodChange, FromTwoTotals) {
    EXPECT_EQ(periodChangeBetween(5, 0), PeriodChange(NewChange{}));
    EXPECT_EQ(periodChangeBetween(125, 100), PeriodChange(RelativeChange{0.25}));
    EXPECT_EQ(periodChangeBetween(90, 100), PeriodChange(RelativeChange{-0.1}));
}

TEST(PeriodChange, JsonFormIsAOneKeyObject) {
    EXPECT_EQ(json::encode(PeriodChange(RelativeChange{0.25})), R"({"relative":{"_0":0.25}})");
    EXPECT_EQ(json::encode(PeriodChange(NewChange{})), R"({"new":{}})");
    EXPECT_EQ(json::decode<PeriodChange>(R"({"relative":{"_0":-0.1}})"), PeriodChange(RelativeChange{-0.1}));
    EXPECT_EQ(json::decode<PeriodChange>(R"({"new":{}})"), PeriodChange(NewChange{}));
    EXPECT_THROW(json::decode<PeriodChange>(R"({"new":{},"relative":{"_0":1}})"), json::DecodingError);
}

TEST(MetricStatus, GradingBoundsAreInclusive) {
    EXPECT_EQ(gradePercent(49.99), MetricStatus::normal);
    EXPECT_EQ(gradePercent(50.0), MetricStatus::elevated);
    EXPECT_EQ(gradePercent(84.99), MetricStatus::elevated);
    EXPECT_EQ(gradePercent(85.0), MetricStatus::critical);
}

TEST(MetricStatus, OrderedAndTitled) {
    EXPECT_LT(MetricStatus::normal, MetricStatus::elevated);
    EXPECT_LT(MetricStatus::elevated, MetricStatus::critical);
    EXPECT_EQ(metricStatusTitle(MetricStatus::normal), "Normal");
    EXPECT_EQ(metricStatusTitle(MetricStatus::elevated), "Elevated");
    EXPECT_EQ(metricStatusTitle(MetricStatus::critical), "Critical");
    EXPECT_EQ(json::encode(MetricStatus::elevated), "\"elevated\"");
}

TEST(HistoryRange, DecodesFromItsRawValueOnly) {
    EXPECT_EQ(json::decode<HistoryRange>("\"d7\""), HistoryRange::d7);
    EXPECT_THROW(json::decode<HistoryRange>("\"7d\""), json::DecodingError);
}

TEST(HistoryRange, LabelsSpansAndBuckets) {
    EXPECT_EQ(historyRangeLabel(HistoryRange::h12), "12 h");
    EXPECT_EQ(historyRangeLabel(HistoryRange::h24), "24 h");
    EXPECT_EQ(historyRangeLabel(HistoryRange::d7), "7 d");
    EXPECT_EQ(historyRangeLabel(HistoryRange::d30), "30 d");
    EXPECT_EQ(historyRangeSpan(HistoryRange::h12), Duration::seconds(43200));
    EXPECT_EQ(historyRangeSpan(HistoryRange::h24), Duration::seconds(86400));
    EXPECT_EQ(historyRangeSpan(HistoryRange::d7), Duration::seconds(604800));
    EXPECT_EQ(historyRangeSpan(HistoryRange::d30), Duration::seconds(2592000));
    for (auto range : allHistoryRanges) {
        auto points = historyRangeSpan(range).wholeSeconds() / historyRangeBucket(range).wholeSeconds();
        EXPECT_GE(points, 360) << historyRangeLabel(range);
        EXPECT_LE(points, 720) << historyRangeLabel(range);
    }
    EXPECT_EQ(historyRangeFromArgument("12h"), HistoryRange::h12);
    EXPECT_EQ(historyRangeFromArgument("30d"), HistoryRange::d30);
    EXPECT_EQ(historyRangeFromArgument("h12"), std::nullopt);
}

TEST(Metric, EveryMetricHasATitleAndCodesAsItsName) {
    EXPECT_EQ(std::size(allMetrics), 13u);
    for (auto metric : allMetrics) {
        EXPECT_FALSE(metricTitle(metric).empty());
        auto text = json::encode(metric);
        EXPECT_EQ(json::decode<Metric>(text), metric);
    }
    EXPECT_EQ(json::encode(Metric::diskWrite), "\"diskWrite\"");
    EXPECT_EQ(metricUnit(Metric::netIn), MetricUnit::bytesPerSecond);
    EXPECT_EQ(metricUnit(Metric::cpu), MetricUnit::percent);
}

TEST(ChartRecords, RoundTripAndHash) {
    SeriesPoint point{Date{1000.5}, 12.5, 40};
    EXPECT_EQ(json::encode(point), R"({"at":1000.5,"average":12.5,"maximum":40.0})");
    EXPECT_EQ(json::decode<SeriesPoint>(json::encode(point)), point);

    AppTotal total{AppIdentity::other("stress"), 123.0};
    EXPECT_EQ(json::decode<AppTotal>(json::encode(total)), total);

    BatteryDay day{Date{86400}, 91.5, std::nullopt, 42};
    auto text = json::encode(day);
    EXPECT_EQ(text.find("cycleCount"), std::string::npos);
    EXPECT_EQ(json::decode<BatteryDay>(text), day);
    BatteryDay other = day;
    other.cycleCount = 3;
    EXPECT_NE(std::hash<BatteryDay>{}(day), std::hash<BatteryDay>{}(other));
}

}  // namespace
}  // namespace orv
