// `orvantine history`: what the recorder kept, over 12 h to 30 d: a chart
// of one metric, its mean, peak, grade and change against the period
// before, and the apps ranked by the matching total.
#include <boost/describe/enum_from_string.hpp>
#include <cmath>
#include <ctime>
#include <fmt/format.h>
#include <iostream>

#include "cli/CommandRegistry.h"
#include "cli/Format.h"
#include "cli/HistoryChart.h"
#include "cli/HistoryReport.h"
#include "cli/XdgPaths.h"
#include "core/Formatters.h"
#include "core/JsonCoding.h"

namespace orv::cli {

namespace {

struct HistoryOptions {
    std::string range = "12h";
    std::string metric = "cpu";
    bool apps = false;
    bool json = false;
    std::string database;
};

std::string appValue(AppFigure figure, double value) {
    switch (figure) {
        case AppFigure::cpuTime: return value < 60 ? Formatters::number(value, 1) + "s"
                                                   : Formatters::duration(Duration::seconds(int64_t(value)));
        case AppFigure::memory:
        case AppFigure::diskRead:
        case AppFigure::diskWritten:
        case AppFigure::network: return Formatters::bytes(value);
        case AppFigure::energy: return Formatters::decimal(value);
    }
    return Formatters::number(value, 1);
}

const char* rankingTitle(AppFigure figure) {
    switch (figure) {
        case AppFigure::cpuTime: return "CPU time";
        case AppFigure::memory: return "average memory";
        case AppFigure::diskRead: return "bytes read";
        case AppFigure::diskWritten: return "bytes written";
        case AppFigure::network: return "network traffic";
        case AppFigure::energy: return "energy impact";
    }
    return "";
}

std::string clock(double unixSeconds) {
    std::time_t t = std::time_t(unixSeconds);
    std::tm parts{};
    localtime_r(&t, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%a %H:%M", &parts);
    return text;
}

void printApps(const HistoryReport& report, std::ostream& out) {
    auto figure = HistoryReport::rankingFigure(report.metric);
    out << fmt::format("Apps by {} ({})\n", rankingTitle(figure), historyRangeLabel(report.range));
    if (report.apps.empty()) out << "  none recorded\n";
    for (size_t i = 0; i < report.apps.size(); ++i) {
        out << fmt::format("{:>3}. {:>10}  {}\n", i + 1, appValue(figure, report.apps[i].value),
                           report.apps[i].app.name);
    }
}

void printReport(const HistoryReport& report, const std::string& database, int64_t now, bool appsOnly,
                 std::ostream& out) {
    if (appsOnly) {
        printApps(report, out);
        return;
    }
    auto metric = report.metric;
    int64_t width = historyRangeBucket(report.range).wholeSeconds();
    int64_t span = historyRangeSpan(report.range).wholeSeconds();
    int64_t to = HistoryStore::bucketStart(now, width) + width;
    out << fmt::format("{}, last {} in {} buckets  ({})\n", metricTitle(metric), historyRangeLabel(report.range),
                       Formatters::duration(Duration::seconds(width)), database);
    HistoryChart::Layout layout;
    layout.width = 72;
    layout.height = 8;
    layout.from = double(to - span);
    layout.bucket = double(width);
    layout.buckets = size_t(span / width);
    if (metricUnit(metric) == MetricUnit::percent) layout.ceiling = 100;
    auto rows = HistoryChart::render(report.series, layout, [&](double v) { return Formatters::metricValue(metric, v); });
    for (const auto& row : rows) out << row << "\n";
    size_t labelColumn = rows.empty() ? 0 : rows[0].find("\u2502");
    std::string left = clock(layout.from), right = clock(double(now));
    size_t chartWidth = std::min(layout.width, layout.buckets);
    size_t gap = chartWidth > left.size() + right.size() ? chartWidth - left.size() - right.size() : 1;
    out << std::string(labelColumn + 1, ' ') << left << std::string(gap, ' ') << right << "\n";
    if (!report.average) {
        out << "Nothing recorded in this range yet.\n";
    } else {
        std::string summary = fmt::format("Average {}, peak {}", Formatters::metricValue(metric, *report.average),
                                          Formatters::metricValue(metric, report.maximum.value_or(0)));
        if (report.status) summary += fmt::format("   {}", metricStatusTitle(*report.status));
        if (report.change) {
            summary += fmt::format("   against the {} before: {}", historyRangeLabel(report.range),
                                   periodChangeText(*report.change));
        }
        out << summary << "\n";
    }
    for (const auto& day : report.batteryDays) {
        out << fmt::format("Battery {}: {} on battery{}{}\n", clock(day.day.unixSeconds()).substr(0, 3),
                           Formatters::duration(Duration::seconds(int64_t(day.minutesOnBattery * 60))),
                           day.maxCapacityPercent ? ", health " + Formatters::percent(*day.maxCapacityPercent) : "",
                           day.cycleCount ? fmt::format(", {} cycles", *day.cycleCount) : "");
    }
    out << "\n";
    printApps(report, out);
}

void run(const HistoryOptions& options) {
    auto range = historyRangeFromArgument(options.range);
    if (!range) throw CLI::ValidationError("--range", "expected 12h, 24h, 7d or 30d");
    Metric metric{};
    if (!boost::describe::enum_from_string(options.metric.c_str(), metric)) {
        throw CLI::ValidationError("--metric", "unknown metric " + options.metric);
    }
    auto path = options.database.empty() ? XdgPaths::historyDatabase() : std::filesystem::path(options.database);
    HistoryStore store(path, HistoryStore::Access::read);
    auto now = int64_t(std::floor(Date::now().unixSeconds()));
    auto report = HistoryReport::read(store, metric, *range, now, options.apps ? 25 : 5);
    if (options.json) {
        std::cout << json::encode(report) << "\n";
        return;
    }
    printReport(report, path.string(), now, options.apps, std::cout);
}

CommandRegistration registration(8, [](CLI::App& app) {
    auto options = std::make_shared<HistoryOptions>();
    auto* command = app.add_subcommand("history", "What the recorder kept: a chart of one metric and the apps ranked");
    command->add_option("--range", options->range, "12h, 24h, 7d or 30d")
        ->default_val("12h")
        ->check(CLI::IsMember({"12h", "24h", "7d", "30d"}));
    command->add_option("--metric", options->metric,
                        "cpu, memory, energy, diskRead, diskWrite, netIn, netOut, gpu, energyImpact, "
                        "cpuTemperature, gpuTemperature, fanSpeed or thermalPressure")
        ->default_val("cpu");
    command->add_flag("--apps", options->apps, "Only the apps, ranked by the metric's total (25 of them)");
    command->add_flag("--json", options->json, "The report's records as one JSON object");
    command->add_option("--database", options->database, "The history file (default $XDG_STATE_HOME/orvantine/history.sqlite)");
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
