#include <gtest/gtest.h>

#include "cli/HistoryChart.h"

namespace orv::cli {
namespace {

std::string label(double v) { return std::to_string(int(v)); }

TEST(HistoryChart, EighthBlocksFromZeroToTheTop) {
    HistoryChart::Layout layout{.width = 4, .height = 2, .from = 0, .bucket = 60, .buckets = 4, .ceiling = 100};
    std::vector<SeriesPoint> points = {{Date::fromUnixSeconds(0), 100, 100},
                                       {Date::fromUnixSeconds(60), 50, 50},
                                       {Date::fromUnixSeconds(180), 25, 30}};
    auto rows = HistoryChart::render(points, layout, label);
    ASSERT_EQ(rows.size(), 2u);
    // Column 3 (bucket 2) has nothing kept and stays empty.
    EXPECT_EQ(rows[0], "100 \u2502\u2588   ");
    EXPECT_EQ(rows[1], "  0 \u2502\u2588\u2588 \u2584");
}

TEST(HistoryChart, ATinyValueStillShows) {
    HistoryChart::Layout layout{.width = 2, .height = 1, .from = 0, .bucket = 60, .buckets = 2, .ceiling = 100};
    auto rows = HistoryChart::render({{Date::fromUnixSeconds(0), 0.1, 0.1}}, layout, label);
    EXPECT_EQ(rows[0], "100 \u2502\u2581 ");
}

TEST(HistoryChart, MoreBucketsThanColumnsShareColumns) {
    HistoryChart::Layout layout{.width = 2, .height = 1, .from = 0, .bucket = 60, .buckets = 4, .ceiling = std::nullopt};
    std::vector<SeriesPoint> points = {{Date::fromUnixSeconds(0), 8, 8}, {Date::fromUnixSeconds(60), 2, 2},
                                       {Date::fromUnixSeconds(120), 4, 4}};
    auto rows = HistoryChart::render(points, layout, label);
    // The scale tops at the largest column, 8: the second column is 4 of 8.
    EXPECT_EQ(rows[0], "8 \u2502\u2588\u2584");
}

TEST(HistoryChart, PointsOutsideTheRangeAreIgnored) {
    HistoryChart::Layout layout{.width = 2, .height = 1, .from = 600, .bucket = 60, .buckets = 2, .ceiling = 10};
    auto rows = HistoryChart::render({{Date::fromUnixSeconds(0), 10, 10}, {Date::fromUnixSeconds(720), 10, 10}},
                                     layout, label);
    EXPECT_EQ(rows[0], "10 \u2502  ");
}

}  // namespace
}  // namespace orv::cli
