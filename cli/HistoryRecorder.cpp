#include "cli/HistoryRecorder.h"

#include <cmath>
#include <ctime>

namespace orv::cli {

HistoryRecorder::HistoryRecorder(HistoryStore& store, DayStart dayStart)
    : store_(store), dayStart_(std::move(dayStart)) {}

int64_t HistoryRecorder::localDayStart(int64_t unixSeconds) {
    std::time_t t = std::time_t(unixSeconds);
    std::tm parts{};
    localtime_r(&t, &parts);
    parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
    parts.tm_isdst = -1;  // midnight may be in the other offset than now
    return int64_t(std::mktime(&parts));
}

void HistoryRecorder::observe(const Snapshot& snapshot) {
    double interval = snapshot.interval.toSeconds();
    if (!(interval > 0)) return;
    auto now = int64_t(std::floor(snapshot.at.unixSeconds()));
    int64_t start = HistoryStore::bucketStart(now, HistoryStore::minute);
    if (start != minute_.start) {
        flush();
        minute_ = HistoryMinute{};
        minute_.start = start;
    }
    for (const auto& [metric, value] : metricFigures(snapshot)) minute_.metrics[metric].add(value);
    for (const auto& app : snapshot.apps) {
        auto& entry = minute_.apps[app.app.id];
        entry.first = app.app;
        entry.second.add(app, interval, snapshot.system.cpu.perCorePercent.size());
    }
    if (const auto& battery = snapshot.system.battery) {
        int64_t day = dayStart_(now);
        auto& totals = minute_.batteryDays[day];
        totals.dayStart = day;
        if (battery->maxCapacityPercent) totals.maxCapacityPercent = battery->maxCapacityPercent;
        if (battery->cycleCount) totals.cycleCount = battery->cycleCount;
        if (battery->source == BatteryStats::PowerSource::battery) totals.secondsOnBattery += interval;
    }
    if (now - lastPrune_ >= 3600) {
        store_.prune(now);
        lastPrune_ = now;
    }
}

void HistoryRecorder::flush() {
    if (minute_.empty()) return;
    store_.write(minute_);
    ++written_;
    auto start = minute_.start;
    minute_ = HistoryMinute{};
    minute_.start = start;
}

}  // namespace orv::cli
