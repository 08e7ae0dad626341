#include "cli/HistoryReport.h"

#include <algorithm>

namespace orv::cli {

AppFigure HistoryReport::rankingFigure(Metric metric) {
    switch (metric) {
        case Metric::memory: return AppFigure::memory;
        case Metric::diskRead: return AppFigure::diskRead;
        case Metric::diskWrite: return AppFigure::diskWritten;
        case Metric::netIn:
        case Metric::netOut: return AppFigure::network;
        case Metric::energy:
        case Metric::energyImpact: return AppFigure::energy;
        default: return AppFigure::cpuTime;
    }
}

namespace {

const char* figureName(AppFigure figure) {
    switch (figure) {
        case AppFigure::cpuTime: return "cpuTime";
        case AppFigure::memory: return "memory";
        case AppFigure::diskRead: return "diskRead";
        case AppFigure::diskWritten: return "diskWritten";
        case AppFigure::network: return "network";
        case AppFigure::energy: return "energy";
    }
    return "cpuTime";
}

}  // namespace

HistoryReport HistoryReport::read(const HistoryStore& store, Metric metric, HistoryRange range, int64_t now,
                                  size_t appLimit) {
    HistoryReport report;
    report.range = range;
    report.metric = metric;
    report.series = store.series(metric, range, now);
    int64_t width = historyRangeBucket(range).wholeSeconds();
    int64_t span = historyRangeSpan(range).wholeSeconds();
    int64_t to = HistoryStore::bucketStart(now, width) + width;
    int64_t from = to - span;
    report.average = store.mean(metric, range, from, to);
    for (const auto& p : report.series) report.maximum = std::max(report.maximum.value_or(p.maximum), p.maximum);
    if (report.average && metricUnit(metric) == MetricUnit::percent) report.status = gradePercent(*report.average);
    if (report.average && HistoryStore::keepsPreviousPeriod(range)) {
        double previous = store.mean(metric, range, from - span, from).value_or(0);
        report.change = periodChangeBetween(*report.average, previous);
    }
    auto figure = rankingFigure(metric);
    report.appRanking = figureName(figure);
    report.apps = store.appTotals(figure, range, from, to, appLimit);
    report.batteryDays = store.batteryDays(from - 86400, to);
    return report;
}

}  // namespace orv::cli
