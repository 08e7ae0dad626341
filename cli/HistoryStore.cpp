#include "cli/HistoryStore.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <system_error>

#include "core/JsonCoding.h"

namespace orv::cli {

namespace {

// One prepared statement, finalised once.
class Statement {
public:
    Statement(sqlite3* db, const char* sql) {
        if (sqlite3_prepare_v2(db, sql, -1, &stmt_, nullptr) != SQLITE_OK) {
            throw HistoryError(fmt::format("history database: {}", sqlite3_errmsg(db)));
        }
    }
    ~Statement() { sqlite3_finalize(stmt_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(int i, int64_t v) { sqlite3_bind_int64(stmt_, i, v); return *this; }
    Statement& bind(int i, double v) { sqlite3_bind_double(stmt_, i, v); return *this; }
    Statement& bind(int i, const std::string& v) {
        sqlite3_bind_text(stmt_, i, v.data(), int(v.size()), SQLITE_TRANSIENT);
        return *this;
    }
    Statement& bindNull(int i) { sqlite3_bind_null(stmt_, i); return *this; }
    // True while there is a row; throws on an error.
    bool step() {
        int rc = sqlite3_step(stmt_);
        if (rc == SQLITE_ROW) return true;
        if (rc == SQLITE_DONE) return false;
        throw HistoryError(fmt::format("history database: {}", sqlite3_errmsg(sqlite3_db_handle(stmt_))));
    }
    void run() {
        step();
        reset();
    }
    void reset() {
        sqlite3_reset(stmt_);
        sqlite3_clear_bindings(stmt_);
    }
    double real(int col) const { return sqlite3_column_double(stmt_, col); }
    int64_t integer(int col) const { return sqlite3_column_int64(stmt_, col); }
    bool isNull(int col) const { return sqlite3_column_type(stmt_, col) == SQLITE_NULL; }
    std::string text(int col) const {
        auto* p = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, col));
        return p ? std::string(p, size_t(sqlite3_column_bytes(stmt_, col))) : std::string();
    }

private:
    sqlite3_stmt* stmt_ = nullptr;
};

constexpr const char* schema = R"(
CREATE TABLE IF NOT EXISTS series(
    resolution INTEGER NOT NULL, metric INTEGER NOT NULL, bucket INTEGER NOT NULL,
    total REAL NOT NULL, count INTEGER NOT NULL, maximum REAL NOT NULL,
    PRIMARY KEY(resolution, metric, bucket)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS apps(
    key INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, identity TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS appTotals(
    resolution INTEGER NOT NULL, bucket INTEGER NOT NULL, app INTEGER NOT NULL,
    seconds REAL NOT NULL, cpuSeconds REAL NOT NULL, memoryByteSeconds REAL NOT NULL,
    diskReadBytes REAL NOT NULL, diskWrittenBytes REAL NOT NULL, netBytes REAL NOT NULL, energy REAL NOT NULL,
    PRIMARY KEY(resolution, bucket, app)) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS batteryDays(
    day INTEGER PRIMARY KEY, maxCapacityPercent REAL, cycleCount INTEGER, minutesOnBattery REAL NOT NULL);
)";

constexpr int64_t seriesResolutions[] = {HistoryStore::minute, HistoryStore::quarterHour, HistoryStore::hour};
constexpr int64_t appResolutions[] = {HistoryStore::quarterHour, HistoryStore::hour};

// The pid written in a lock file, for the refusal message.
std::string lockHolder(int fd) {
    char text[32] = {};
    ssize_t got = ::pread(fd, text, sizeof text - 1, 0);
    std::string pid = got > 0 ? std::string(text, size_t(got)) : std::string();
    while (!pid.empty() && (pid.back() == '\n' || pid.back() == ' ')) pid.pop_back();
    return pid;
}

}  // namespace

HistoryStore::HistoryStore(const std::filesystem::path& path, Access access) : path_(path) {
    if (access == Access::record) {
        std::error_code ignored;
        if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path(), ignored);
        auto lockPath = path.string() + ".lock";
        lockFD_ = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (lockFD_ < 0) {
            throw HistoryError(fmt::format("cannot open {}: {}", lockPath, std::strerror(errno)));
        }
        // An advisory lock the kernel drops when the recorder dies, however
        // it dies, so a kill -9 never leaves the file locked.
        if (::flock(lockFD_, LOCK_EX | LOCK_NB) != 0) {
            auto holder = lockHolder(lockFD_);
            ::close(lockFD_);
            lockFD_ = -1;
            throw HistoryError(fmt::format("another recorder{} is already writing {}; only one may record at a time",
                                           holder.empty() ? "" : " (pid " + holder + ")", path.string()));
        }
        auto pid = std::to_string(::getpid()) + "\n";
        if (::ftruncate(lockFD_, 0) == 0) (void)!::pwrite(lockFD_, pid.data(), pid.size(), 0);
    } else if (!std::filesystem::exists(path)) {
        throw HistoryError(fmt::format("no history at {} yet: `orvantine record` keeps it", path.string()));
    }

    int flags = access == Access::record ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY;
    if (sqlite3_open_v2(path.c_str(), &db_, flags | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
        std::string message = db_ ? sqlite3_errmsg(db_) : "out of memory";
        sqlite3_close(db_);
        db_ = nullptr;
        if (lockFD_ >= 0) ::close(lockFD_);
        throw HistoryError(fmt::format("cannot open history {}: {}", path.string(), message));
    }
    sqlite3_busy_timeout(db_, 2000);
    try {
        if (access == Access::record) {
            // WAL: a reader (`orvantine history`) never blocks the recorder,
            // and a commit is one append, so a crash loses at most the
            // transaction being written, never what was committed.
            execute("PRAGMA journal_mode=WAL");
            execute("PRAGMA synchronous=NORMAL");
            execute(schema);
        } else {
            // A file that is not a database, or not ours, says so here.
            Statement probe(db_, "SELECT count(*) FROM series");
            probe.step();
        }
    } catch (const HistoryError& e) {
        sqlite3_close(db_);
        db_ = nullptr;
        if (lockFD_ >= 0) ::close(lockFD_);
        throw HistoryError(fmt::format("{} is not a usable history file ({})", path.string(), e.what()));
    }
}

HistoryStore::~HistoryStore() {
    sqlite3_close(db_);
    if (lockFD_ >= 0) ::close(lockFD_);
}

void HistoryStore::execute(const char* sql) const {
    char* error = nullptr;
    if (sqlite3_exec(db_, sql, nullptr, nullptr, &error) != SQLITE_OK) {
        std::string message = error ? error : sqlite3_errmsg(db_);
        sqlite3_free(error);
        throw HistoryError(fmt::format("history database: {}", message));
    }
}

void HistoryStore::inTransaction(const std::function<void()>& body) {
    execute("BEGIN IMMEDIATE");
    try {
        body();
        execute("COMMIT");
    } catch (...) {
        // Nothing of a failed write stays; the error goes on to the caller.
        char* ignored = nullptr;
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, &ignored);
        sqlite3_free(ignored);
        throw;
    }
}

void HistoryStore::write(const HistoryMinute& m) {
    if (m.empty()) return;
    inTransaction([&] {
        Statement series(db_, R"(INSERT INTO series(resolution, metric, bucket, total, count, maximum)
            VALUES(?1, ?2, ?3, ?4, ?5, ?6)
            ON CONFLICT DO UPDATE SET total = total + excluded.total, count = count + excluded.count,
                                      maximum = max(maximum, excluded.maximum))");
        for (const auto& [metric, figure] : m.metrics) {
            if (figure.count == 0) continue;
            for (int64_t resolution : seriesResolutions) {
                series.bind(1, resolution).bind(2, int64_t(metric)).bind(3, bucketStart(m.start, resolution));
                series.bind(4, figure.sum).bind(5, figure.count).bind(6, figure.maximum).run();
            }
        }
        Statement identity(db_, R"(INSERT INTO apps(id, identity) VALUES(?1, ?2)
            ON CONFLICT(id) DO UPDATE SET identity = excluded.identity WHERE identity != excluded.identity)");
        Statement key(db_, "SELECT key FROM apps WHERE id = ?1");
        Statement totals(db_, R"(INSERT INTO appTotals(resolution, bucket, app, seconds, cpuSeconds,
                memoryByteSeconds, diskReadBytes, diskWrittenBytes, netBytes, energy)
            VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)
            ON CONFLICT DO UPDATE SET seconds = seconds + excluded.seconds,
                cpuSeconds = cpuSeconds + excluded.cpuSeconds,
                memoryByteSeconds = memoryByteSeconds + excluded.memoryByteSeconds,
                diskReadBytes = diskReadBytes + excluded.diskReadBytes,
                diskWrittenBytes = diskWrittenBytes + excluded.diskWrittenBytes,
                netBytes = netBytes + excluded.netBytes, energy = energy + excluded.energy)");
        for (const auto& [id, entry] : m.apps) {
            const auto& [app, t] = entry;
            identity.bind(1, id).bind(2, json::encode(app)).run();
            key.bind(1, id);
            bool found = key.step();
            int64_t appKey = found ? key.integer(0) : 0;
            key.reset();
            if (!found) continue;
            for (int64_t resolution : appResolutions) {
                totals.bind(1, resolution).bind(2, bucketStart(m.start, resolution)).bind(3, appKey);
                totals.bind(4, t.seconds).bind(5, t.cpuSeconds).bind(6, t.memoryByteSeconds);
                totals.bind(7, t.diskReadBytes).bind(8, t.diskWrittenBytes).bind(9, t.netBytes).bind(10, t.energy);
                totals.run();
            }
        }
        if (!m.batteryDays.empty()) {
            Statement day(db_, R"(INSERT INTO batteryDays(day, maxCapacityPercent, cycleCount, minutesOnBattery)
                VALUES(?1, ?2, ?3, ?4)
                ON CONFLICT DO UPDATE SET maxCapacityPercent = coalesce(excluded.maxCapacityPercent, maxCapacityPercent),
                    cycleCount = coalesce(excluded.cycleCount, cycleCount),
                    minutesOnBattery = minutesOnBattery + excluded.minutesOnBattery)");
            for (const auto& [start, totals] : m.batteryDays) {
                day.bind(1, start);
                if (totals.maxCapacityPercent) day.bind(2, *totals.maxCapacityPercent); else day.bindNull(2);
                if (totals.cycleCount) day.bind(3, *totals.cycleCount); else day.bindNull(3);
                day.bind(4, totals.secondsOnBattery / 60).run();
            }
        }
    });
}

void HistoryStore::prune(int64_t now) {
    inTransaction([&] {
        Statement series(db_, "DELETE FROM series WHERE resolution = ?1 AND bucket < ?2");
        Statement apps(db_, "DELETE FROM appTotals WHERE resolution = ?1 AND bucket < ?2");
        for (int64_t resolution : seriesResolutions) {
            series.bind(1, resolution).bind(2, now - retentionSeconds(resolution)).run();
            apps.bind(1, resolution).bind(2, now - retentionSeconds(resolution)).run();
        }
        Statement days(db_, "DELETE FROM batteryDays WHERE day < ?1");
        days.bind(1, now - retentionSeconds(hour) - 86400).run();
        execute("DELETE FROM apps WHERE key NOT IN (SELECT DISTINCT app FROM appTotals)");
    });
}

int64_t HistoryStore::sourceResolution(HistoryRange range) {
    switch (range) {
        case HistoryRange::h12:
        case HistoryRange::h24: return minute;
        case HistoryRange::d7: return quarterHour;
        case HistoryRange::d30: return hour;
    }
    return hour;
}

bool HistoryStore::keepsPreviousPeriod(HistoryRange range) {
    return 2 * historyRangeSpan(range).wholeSeconds() <= retentionSeconds(sourceResolution(range));
}

std::vector<SeriesPoint> HistoryStore::series(Metric metric, HistoryRange range, int64_t now) const {
    int64_t width = historyRangeBucket(range).wholeSeconds();
    int64_t to = bucketStart(now, width) + width;  // the bucket now is in, partly filled
    int64_t from = to - historyRangeSpan(range).wholeSeconds();
    Statement query(db_, R"(SELECT (bucket - ((bucket % ?1) + ?1) % ?1) AS b, sum(total) / sum(count), max(maximum)
        FROM series WHERE resolution = ?2 AND metric = ?3 AND bucket >= ?4 AND bucket < ?5
        GROUP BY b ORDER BY b)");
    query.bind(1, width).bind(2, sourceResolution(range)).bind(3, int64_t(metric)).bind(4, from).bind(5, to);
    std::vector<SeriesPoint> points;
    while (query.step()) {
        points.push_back({Date::fromUnixSeconds(double(query.integer(0))), query.real(1), query.real(2)});
    }
    return points;
}

std::optional<double> HistoryStore::mean(Metric metric, HistoryRange range, int64_t from, int64_t to) const {
    Statement query(db_, R"(SELECT sum(total), sum(count) FROM series
        WHERE resolution = ?1 AND metric = ?2 AND bucket >= ?3 AND bucket < ?4)");
    query.bind(1, sourceResolution(range)).bind(2, int64_t(metric)).bind(3, from).bind(4, to);
    if (!query.step() || query.isNull(1) || query.integer(1) == 0) return std::nullopt;
    return query.real(0) / double(query.integer(1));
}

std::vector<AppTotal> HistoryStore::appTotals(AppFigure figure, HistoryRange range, int64_t from, int64_t to,
                                              size_t limit) const {
    const char* expression = "sum(t.cpuSeconds)";
    switch (figure) {
        case AppFigure::cpuTime: expression = "sum(t.cpuSeconds)"; break;
        case AppFigure::memory: expression = "sum(t.memoryByteSeconds) / sum(t.seconds)"; break;
        case AppFigure::diskRead: expression = "sum(t.diskReadBytes)"; break;
        case AppFigure::diskWritten: expression = "sum(t.diskWrittenBytes)"; break;
        case AppFigure::network: expression = "sum(t.netBytes)"; break;
        case AppFigure::energy: expression = "sum(t.energy)"; break;
    }
    int64_t resolution = std::max(sourceResolution(range), quarterHour);
    auto sql = fmt::format(R"(SELECT a.identity, {} AS v FROM appTotals t JOIN apps a ON a.key = t.app
        WHERE t.resolution = ?1 AND t.bucket >= ?2 AND t.bucket < ?3
        GROUP BY t.app HAVING v > 0 ORDER BY v DESC, a.id LIMIT ?4)",
                           expression);
    Statement query(db_, sql.c_str());
    query.bind(1, resolution).bind(2, bucketStart(from, resolution)).bind(3, to).bind(4, int64_t(limit));
    std::vector<AppTotal> totals;
    while (query.step()) {
        AppIdentity app;
        try {
            app = json::decode<AppIdentity>(query.text(0));
        } catch (const json::DecodingError&) {
            continue;  // a damaged identity drops that app from the ranking only
        }
        totals.push_back({std::move(app), query.real(1)});
    }
    return totals;
}

std::vector<BatteryDay> HistoryStore::batteryDays(int64_t from, int64_t to) const {
    Statement query(db_, R"(SELECT day, maxCapacityPercent, cycleCount, minutesOnBattery FROM batteryDays
        WHERE day >= ?1 AND day < ?2 ORDER BY day)");
    query.bind(1, from).bind(2, to);
    std::vector<BatteryDay> days;
    while (query.step()) {
        BatteryDay day;
        day.day = Date::fromUnixSeconds(double(query.integer(0)));
        if (!query.isNull(1)) day.maxCapacityPercent = query.real(1);
        if (!query.isNull(2)) day.cycleCount = query.integer(2);
        day.minutesOnBattery = query.real(3);
        days.push_back(day);
    }
    return days;
}

std::string HistoryStore::integrityCheck() const {
    Statement query(db_, "PRAGMA integrity_check");
    return query.step() ? query.text(0) : std::string("no answer");
}

}  // namespace orv::cli
