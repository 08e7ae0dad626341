#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/SeriesPoint.h"

namespace orv::cli {

// A curve in the terminal, drawn with the eighth blocks ▁▂▃▄▅▆▇█: one column
// per bucket of the range (neighbouring buckets share a column when the
// range has more buckets than the chart has columns, the column showing
// their largest average), `height` rows, the scale from 0 to the largest
// value (or `ceiling` when given), an empty column where nothing was kept.
struct HistoryChart {
    HistoryChart() = delete;

    struct Layout {
        size_t width = 60;   // columns of the curve itself
        size_t height = 8;   // rows
        double from = 0;     // Unix seconds of the first bucket
        double bucket = 60;  // seconds per bucket
        size_t buckets = 60; // buckets in the range
        std::optional<double> ceiling;  // the top of the scale (100 for percentages)
    };

    // The rows, top first, each prefixed with its axis label (the top row
    // with the scale's top, the bottom row with 0) written by `label`.
    static std::vector<std::string> render(const std::vector<SeriesPoint>& points, const Layout& layout,
                                           const std::function<std::string(double)>& label);
};

}  // namespace orv::cli
