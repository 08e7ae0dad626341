#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/HistoryMinute.h"
#include "core/AppTotal.h"
#include "core/BatteryDay.h"
#include "core/HistoryRange.h"
#include "core/Metric.h"
#include "core/SeriesPoint.h"

struct sqlite3;

namespace orv::cli {

// A history file that cannot be opened, read or written, with the reason a
// user can act on.
class HistoryError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What a ranking of apps adds up.
enum class AppFigure { cpuTime, memory, diskRead, diskWritten, network, energy };

// The history file: one SQLite database in WAL mode. Buckets start at
// multiples of their width in Unix time, so a daylight-saving change moves
// no bucket. Three resolutions are kept, each as long as its ranges and the
// period before them need:
//   1 min  for 2 days   (12 h and 24 h, and the 24 h before them)
//   15 min for 14 days  (7 d and the week before)
//   1 h    for 30 days  (30 d)
// App totals are kept at 15 min and 1 h only: a ranking needs no finer.
class HistoryStore {
public:
    static constexpr int64_t minute = 60;
    static constexpr int64_t quarterHour = 900;
    static constexpr int64_t hour = 3600;
    static constexpr int64_t retentionSeconds(int64_t resolution) {
        return resolution == minute ? 2 * 86400 : resolution == quarterHour ? 14 * 86400 : 30 * 86400;
    }
    static constexpr int64_t bucketStart(int64_t unixSeconds, int64_t width) {
        int64_t q = unixSeconds / width;
        if (unixSeconds % width != 0 && unixSeconds < 0) --q;
        return q * width;
    }

    enum class Access {
        record,  // create the file when missing and write; one recorder per file
        read,    // read only: the file must exist
    };

    // Opens `path`. A recorder takes the file's lock (`<path>.lock`); a
    // second recorder is refused with a HistoryError naming the holder.
    explicit HistoryStore(const std::filesystem::path& path, Access access);
    ~HistoryStore();
    HistoryStore(const HistoryStore&) = delete;
    HistoryStore& operator=(const HistoryStore&) = delete;

    const std::filesystem::path& path() const { return path_; }

    // Adds one minute to every resolution, in one transaction.
    void write(const HistoryMinute& minute);
    // Drops every bucket older than its resolution keeps.
    void prune(int64_t nowUnixSeconds);

    // The resolution a range is read from, and whether the period before it
    // is still kept.
    static int64_t sourceResolution(HistoryRange range);
    static bool keepsPreviousPeriod(HistoryRange range);

    // The range's buckets ending at `now` (average and maximum of the
    // samples in each; a bucket without samples is left out).
    std::vector<SeriesPoint> series(Metric metric, HistoryRange range, int64_t nowUnixSeconds) const;
    // The mean of a metric's samples in [from, to) at the range's
    // resolution; absent without samples.
    std::optional<double> mean(Metric metric, HistoryRange range, int64_t from, int64_t to) const;
    // Apps by their total of `figure` in [from, to), largest first.
    std::vector<AppTotal> appTotals(AppFigure figure, HistoryRange range, int64_t from, int64_t to,
                                    size_t limit) const;
    std::vector<BatteryDay> batteryDays(int64_t from, int64_t to) const;
    // SQLite's own check of the file: "ok" when sound.
    std::string integrityCheck() const;

private:
    void execute(const char* sql) const;
    // Runs `body` in one immediate transaction, rolled back if it throws.
    void inTransaction(const std::function<void()>& body);
    std::filesystem::path path_;
    sqlite3* db_ = nullptr;
    int lockFD_ = -1;
};

}  // namespace orv::cli
