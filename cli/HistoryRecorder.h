#pragma once

#include <cstdint>
#include <functional>

#include "cli/HistoryMinute.h"
#include "cli/HistoryStore.h"
#include "core/Snapshot.h"

namespace orv::cli {

// Gathers snapshots into the current minute and hands each finished minute
// to the store in one transaction, so the file is written at most once a
// minute and a crash loses at most the minute being gathered. Prunes once
// an hour.
class HistoryRecorder {
public:
    // The local midnight before a Unix time; the recorder's battery days
    // follow the wall clock, daylight-saving days included.
    using DayStart = std::function<int64_t(int64_t unixSeconds)>;

    explicit HistoryRecorder(HistoryStore& store, DayStart dayStart = localDayStart);

    // Adds one snapshot; a snapshot without an interval (the first pass)
    // has no rates and is skipped. Writes the previous minute when this one
    // starts a new minute.
    void observe(const Snapshot& snapshot);
    // Writes what the current minute has gathered (at exit).
    void flush();

    const HistoryMinute& pending() const { return minute_; }
    int64_t minutesWritten() const { return written_; }

    static int64_t localDayStart(int64_t unixSeconds);

private:
    HistoryStore& store_;
    DayStart dayStart_;
    HistoryMinute minute_;
    int64_t written_ = 0;
    int64_t lastPrune_ = 0;
};

}  // namespace orv::cli
