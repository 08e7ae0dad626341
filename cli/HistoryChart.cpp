#include "cli/HistoryChart.h"

#include <algorithm>
#include <cmath>

#include "cli/Format.h"

namespace orv::cli {

namespace {

// The eighth blocks, from one eighth to full.
constexpr const char* blocks[] = {" ", "\u2581", "\u2582", "\u2583", "\u2584", "\u2585", "\u2586", "\u2587", "\u2588"};

size_t displayWidth(const std::string& text) {
    size_t columns = 0;
    for (unsigned char c : text) columns += (c & 0xC0) != 0x80;
    return columns;
}

}  // namespace

std::vector<std::string> HistoryChart::render(const std::vector<SeriesPoint>& points, const Layout& layout,
                                              const std::function<std::string(double)>& label) {
    size_t width = std::max<size_t>(1, std::min(layout.width, layout.buckets));
    size_t height = std::max<size_t>(1, layout.height);
    std::vector<std::optional<double>> columns(width);
    for (const auto& point : points) {
        double index = (point.at.unixSeconds() - layout.from) / layout.bucket;
        if (!(index >= 0) || index >= double(layout.buckets)) continue;
        size_t column = size_t(index) * width / layout.buckets;
        double value = std::isfinite(point.average) ? std::max(point.average, 0.0) : 0.0;
        columns[column] = std::max(columns[column].value_or(0.0), value);
    }
    double top = layout.ceiling.value_or(0);
    for (const auto& c : columns) top = std::max(top, c.value_or(0));
    if (!(top > 0)) top = 1;

    std::string topLabel = label(top), bottomLabel = label(0);
    size_t labelWidth = std::max(displayWidth(topLabel), displayWidth(bottomLabel));
    auto pad = [&](const std::string& text) { return std::string(labelWidth - displayWidth(text), ' ') + text; };

    std::vector<std::string> rows;
    for (size_t row = 0; row < height; ++row) {
        size_t fromTop = row;
        std::string line = row == 0 ? pad(topLabel) : row + 1 == height ? pad(bottomLabel) : std::string(labelWidth, ' ');
        line += " \u2502";
        for (const auto& c : columns) {
            if (!c) {
                line += ' ';
                continue;
            }
            // Eighths of the whole height this column reaches; a value above
            // zero always shows at least one eighth.
            auto eighths = size_t(std::lround(*c / top * double(height * 8)));
            if (*c > 0 && eighths == 0) eighths = 1;
            size_t rowBase = (height - 1 - fromTop) * 8;
            size_t fill = eighths <= rowBase ? 0 : std::min<size_t>(eighths - rowBase, 8);
            line += blocks[fill];
        }
        rows.push_back(std::move(line));
    }
    return rows;
}

}  // namespace orv::cli
