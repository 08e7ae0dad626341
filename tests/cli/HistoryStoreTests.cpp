// The history file: bucket arithmetic, ranges, pruning, the one-recorder
// rule, bad files and a recorder killed mid-write.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "cli/HistoryRecorder.h"
#include "cli/HistoryReport.h"
#include "cli/HistoryStore.h"
#include "support/TempDir.h"

namespace orv::cli {
namespace {

using test::TempDir;

constexpr int64_t now = 1'700'000'000;  // 2023-11-14 22:13:20 UTC

HistoryMinute minuteWith(int64_t start, double cpu, std::optional<AppIdentity> app = std::nullopt,
                         double appCPUSeconds = 0) {
    HistoryMinute m;
    m.start = HistoryStore::bucketStart(start, 60);
    m.metrics[Metric::cpu].add(cpu);
    if (app) {
        auto& entry = m.apps[app->id];
        entry.first = *app;
        entry.second.seconds = 60;
        entry.second.cpuSeconds = appCPUSeconds;
        entry.second.memoryByteSeconds = 60.0 * 1000;
    }
    return m;
}

TEST(HistoryStore, BucketsStartAtMultiplesOfTheirWidth) {
    EXPECT_EQ(HistoryStore::bucketStart(119, 60), 60);
    EXPECT_EQ(HistoryStore::bucketStart(120, 60), 120);
    EXPECT_EQ(HistoryStore::bucketStart(-1, 60), -60);
    EXPECT_EQ(HistoryStore::bucketStart(now, 3600), 1'699'999'200);
    EXPECT_EQ(HistoryStore::sourceResolution(HistoryRange::h24), 60);
    EXPECT_EQ(HistoryStore::sourceResolution(HistoryRange::d7), 900);
    EXPECT_TRUE(HistoryStore::keepsPreviousPeriod(HistoryRange::h24));
    EXPECT_TRUE(HistoryStore::keepsPreviousPeriod(HistoryRange::d7));
    EXPECT_FALSE(HistoryStore::keepsPreviousPeriod(HistoryRange::d30));
}

TEST(HistoryStore, TwelveHoursAreMinuteBucketsUpToNow) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    // The minute before the range, its first minute, and the minute now is in.
    int64_t last = HistoryStore::bucketStart(now, 60);
    int64_t first = last + 60 - 43200;
    store.write(minuteWith(first - 60, 99));
    store.write(minuteWith(first, 10));
    store.write(minuteWith(last, 30));
    auto points = store.series(Metric::cpu, HistoryRange::h12, now);
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[0], (SeriesPoint{Date::fromUnixSeconds(double(first)), 10, 10}));
    EXPECT_EQ(points[1], (SeriesPoint{Date::fromUnixSeconds(double(last)), 30, 30}));
}

TEST(HistoryStore, TwoMinuteBucketsAverageTheirSamples) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    HistoryMinute a;
    a.start = 1'699'999'920;  // a multiple of 120
    a.metrics[Metric::cpu].add(10);
    a.metrics[Metric::cpu].add(20);
    HistoryMinute b;
    b.start = a.start + 60;
    b.metrics[Metric::cpu].add(90);
    store.write(a);
    store.write(b);
    auto points = store.series(Metric::cpu, HistoryRange::h24, now);
    ASSERT_EQ(points.size(), 1u);
    EXPECT_EQ(points[0].at, Date::fromUnixSeconds(double(a.start)));
    EXPECT_DOUBLE_EQ(points[0].average, 40);  // (10 + 20 + 90) / 3
    EXPECT_DOUBLE_EQ(points[0].maximum, 90);
}

TEST(HistoryStore, AMinuteWrittenTwiceAdds) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    store.write(minuteWith(now, 10));
    store.write(minuteWith(now, 30));
    auto points = store.series(Metric::cpu, HistoryRange::h12, now);
    ASSERT_EQ(points.size(), 1u);
    EXPECT_DOUBLE_EQ(points[0].average, 20);
    EXPECT_DOUBLE_EQ(points[0].maximum, 30);
}

// Buckets are Unix-time multiples: a daylight-saving change in the local
// zone adds or drops no bucket. 2023-10-29 01:00 UTC is the end of summer
// time in Berlin; twelve hours of minutes around it are 720 points.
TEST(HistoryStore, ADaylightSavingChangeMovesNoBucket) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    constexpr int64_t change = 1'698'541'200;
    int64_t end = change + 6 * 3600;
    for (int64_t t = end - 43200 + 60; t <= end; t += 60) store.write(minuteWith(t, 50));
    EXPECT_EQ(store.series(Metric::cpu, HistoryRange::h12, end).size(), 720u);
    // 12 h of 15-min buckets, plus one: the minutes run from 12:01 before
    // to the minute of `end`, which opens a quarter-hour of its own.
    EXPECT_EQ(store.series(Metric::cpu, HistoryRange::d7, end).size(), 49u);
}

TEST(HistoryRecorder, BatteryDaysFollowTheLocalClockAcrossDaylightSaving) {
    const char* old = std::getenv("TZ");
    std::string saved = old ? old : "";
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    // Sunday 2023-10-29 is 25 hours long in Berlin.
    int64_t sunday = HistoryRecorder::localDayStart(1'698'580'800);  // 12:00 UTC that day
    int64_t monday = HistoryRecorder::localDayStart(1'698'580'800 + 86400);
    EXPECT_EQ(sunday, 1'698'530'400);  // 2023-10-28 22:00 UTC, midnight in summer time
    EXPECT_EQ(monday - sunday, 25 * 3600);
    if (old) setenv("TZ", saved.c_str(), 1); else unsetenv("TZ");
    tzset();
}

TEST(HistoryStore, PruningKeepsCoarserBucketsForTheOlderPart) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    store.write(minuteWith(now - 3 * 86400, 70, AppIdentity::other("old"), 30));   // past the minute buckets
    store.write(minuteWith(now - 20 * 86400, 80, AppIdentity::other("older"), 30)); // past the 15-min buckets
    store.write(minuteWith(now - 31 * 86400, 90, AppIdentity::other("gone"), 30));  // past everything
    store.prune(now);
    EXPECT_TRUE(store.series(Metric::cpu, HistoryRange::h24, now - 3 * 86400 + 60).empty());
    EXPECT_EQ(store.series(Metric::cpu, HistoryRange::d7, now - 3 * 86400 + 60).size(), 1u);
    EXPECT_TRUE(store.series(Metric::cpu, HistoryRange::d7, now - 20 * 86400 + 60).empty());
    auto month = store.series(Metric::cpu, HistoryRange::d30, now);
    ASSERT_EQ(month.size(), 2u);
    EXPECT_DOUBLE_EQ(month[0].average, 80);
    EXPECT_DOUBLE_EQ(month[1].average, 70);
    auto apps = store.appTotals(AppFigure::cpuTime, HistoryRange::d30, now - 40 * 86400, now, 10);
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_EQ(apps[0].app.name, "old");
    EXPECT_EQ(apps[1].app.name, "older");
}

TEST(HistoryStore, AppsAreRankedByTheirTotal) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    auto hog = AppIdentity::other("stress");
    auto idle = AppIdentity{"org.gnome.Terminal", "Terminal", std::string("org.gnome.Terminal"), "terminal",
                            AppIdentity::Kind::terminal};
    for (int i = 0; i < 10; ++i) {
        store.write(minuteWith(now - 600 + i * 60, 50, hog, 59));
        store.write(minuteWith(now - 600 + i * 60, 50, idle, 1));
    }
    auto apps = store.appTotals(AppFigure::cpuTime, HistoryRange::h12, now - 43200, now + 60, 5);
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_EQ(apps[0].app, hog);
    EXPECT_DOUBLE_EQ(apps[0].value, 590);
    EXPECT_EQ(apps[1].app, idle);  // the identity is stored once and read back whole
    EXPECT_DOUBLE_EQ(apps[1].value, 10);
    auto memory = store.appTotals(AppFigure::memory, HistoryRange::h12, now - 43200, now + 60, 5);
    ASSERT_FALSE(memory.empty());
    EXPECT_DOUBLE_EQ(memory[0].value, 1000);
}

TEST(HistoryReport, ChangeAgainstThePeriodBefore) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    store.write(minuteWith(now - 43200 - 3600, 40));  // in the 12 h before
    store.write(minuteWith(now - 60, 50));
    auto report = HistoryReport::read(store, Metric::cpu, HistoryRange::h12, now, 5);
    ASSERT_TRUE(report.change);
    EXPECT_EQ(*report.change, PeriodChange(RelativeChange{0.25}));
    EXPECT_EQ(report.status, MetricStatus::elevated);
    EXPECT_EQ(report.average, 50);

    TempDir fresh;
    HistoryStore empty(fresh.path() / "h.sqlite", HistoryStore::Access::record);
    empty.write(minuteWith(now - 60, 5));
    auto first = HistoryReport::read(empty, Metric::cpu, HistoryRange::h12, now, 5);
    EXPECT_EQ(first.change, PeriodChange(NewChange{}));
    EXPECT_EQ(first.status, MetricStatus::normal);
    // No previous month is kept: no change rather than a false "New".
    EXPECT_FALSE(HistoryReport::read(empty, Metric::cpu, HistoryRange::d30, now, 5).change);
    // A byte metric has no grade.
    EXPECT_FALSE(HistoryReport::read(empty, Metric::memory, HistoryRange::h12, now, 5).status);
}

TEST(HistoryStore, ASecondRecorderIsRefused) {
    TempDir dir;
    auto path = dir.path() / "h.sqlite";
    HistoryStore first(path, HistoryStore::Access::record);
    try {
        HistoryStore second(path, HistoryStore::Access::record);
        FAIL() << "a second recorder opened the file";
    } catch (const HistoryError& e) {
        std::string message = e.what();
        EXPECT_NE(message.find("another recorder (pid " + std::to_string(getpid()) + ") is already writing"),
                  std::string::npos)
            << message;
    }
    // Readers are welcome meanwhile.
    HistoryStore reader(path, HistoryStore::Access::read);
    EXPECT_EQ(reader.integrityCheck(), "ok");
}

TEST(HistoryStore, TheLockGoesWithTheRecorder) {
    TempDir dir;
    auto path = dir.path() / "h.sqlite";
    { HistoryStore first(path, HistoryStore::Access::record); }
    EXPECT_NO_THROW(HistoryStore(path, HistoryStore::Access::record));
}

TEST(HistoryStore, AMissingOrForeignFileIsAClearError) {
    TempDir dir;
    try {
        HistoryStore missing(dir.path() / "none.sqlite", HistoryStore::Access::read);
        FAIL();
    } catch (const HistoryError& e) {
        EXPECT_NE(std::string(e.what()).find("no history at"), std::string::npos) << e.what();
    }
    auto garbage = dir.write("garbage.sqlite", std::string(8192, 'x'));
    for (auto access : {HistoryStore::Access::read, HistoryStore::Access::record}) {
        try {
            HistoryStore store(garbage, access);
            FAIL();
        } catch (const HistoryError& e) {
            EXPECT_NE(std::string(e.what()).find("is not a usable history file"), std::string::npos) << e.what();
        }
    }
    // Nothing was written over it.
    std::ifstream in(garbage);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(text, std::string(8192, 'x'));
}

// A recorder killed by SIGKILL in the middle of its writes leaves a file
// that SQLite finds sound, with every committed minute in it.
TEST(HistoryStore, SurvivesAKillMidWrite) {
    TempDir dir;
    auto path = dir.path() / "h.sqlite";
    auto progress = dir.path() / "progress";
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        try {
            HistoryStore store(path, HistoryStore::Access::record);
            for (int64_t i = 0;; ++i) {
                HistoryMinute m = minuteWith(now - 40 * 86400 + i * 60, double(i % 100), AppIdentity::other("w"), 1);
                for (int a = 0; a < 200; ++a) {  // big transactions, so the kill lands inside one
                    auto& entry = m.apps["app" + std::to_string(a)];
                    entry.first = AppIdentity::other("app" + std::to_string(a));
                    entry.second.seconds = 60;
                }
                store.write(m);
                if (i == 20) std::ofstream(progress) << "written";
            }
        } catch (...) {
        }
        _exit(1);
    }
    for (int i = 0; i < 1000 && !std::filesystem::exists(progress); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(37));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself";
    ASSERT_TRUE(std::filesystem::exists(progress));

    HistoryStore reopened(path, HistoryStore::Access::record);  // the lock died with the writer
    EXPECT_EQ(reopened.integrityCheck(), "ok");
    auto points = reopened.series(Metric::cpu, HistoryRange::d30, now - 39 * 86400);
    ASSERT_FALSE(points.empty());
    EXPECT_GE(points.size(), 1u);
}

TEST(HistoryRecorder, WritesOncePerMinute) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    HistoryRecorder recorder(store, [](int64_t) { return int64_t(0); });
    Snapshot s;
    s.interval = Duration::seconds(1);
    AppAggregate app;
    app.app = AppIdentity::other("stress");
    app.cpuPercent = 100;
    s.apps = {app};
    int64_t start = HistoryStore::bucketStart(now, 60);
    for (int i = 0; i < 150; ++i) {  // two and a half minutes at one a second
        s.at = Date::fromUnixSeconds(double(start + i));
        s.system.cpu.totalPercent = i < 60 ? 10 : 20;
        recorder.observe(s);
    }
    EXPECT_EQ(recorder.minutesWritten(), 2);
    recorder.flush();
    EXPECT_EQ(recorder.minutesWritten(), 3);
    auto points = store.series(Metric::cpu, HistoryRange::h12, start + 150);
    ASSERT_EQ(points.size(), 3u);
    EXPECT_DOUBLE_EQ(points[0].average, 10);
    EXPECT_DOUBLE_EQ(points[1].average, 20);
    auto apps = store.appTotals(AppFigure::cpuTime, HistoryRange::h12, start - 900, start + 900, 5);
    ASSERT_EQ(apps.size(), 1u);
    EXPECT_DOUBLE_EQ(apps[0].value, 150);  // 150 s at one full core
}

// An app's CPU share is of the whole machine: half of two cores is one
// core's worth of time.
TEST(HistoryRecorder, CPUTimeCountsCores) {
    AppTotals totals;
    AppAggregate app;
    app.cpuPercent = 50;
    totals.add(app, 2.0, 2);
    EXPECT_DOUBLE_EQ(totals.cpuSeconds, 2.0);
    totals.add(app, 1.0, 0);  // unknown core count: one
    EXPECT_DOUBLE_EQ(totals.cpuSeconds, 2.5);
}

TEST(HistoryRecorder, BatteryDaysCountMinutesOnBattery) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    const int64_t day = HistoryStore::bucketStart(now, 86400);
    HistoryRecorder recorder(store, [day](int64_t) { return day; });
    Snapshot s;
    s.interval = Duration::seconds(1);
    s.system.battery = BatteryStats{};
    s.system.battery->maxCapacityPercent = 91;
    s.system.battery->cycleCount = 300;
    for (int i = 0; i < 120; ++i) {
        s.system.battery->source = i < 90 ? BatteryStats::PowerSource::battery : BatteryStats::PowerSource::ac;
        s.at = Date::fromUnixSeconds(double(HistoryStore::bucketStart(now, 60) + i));
        recorder.observe(s);
    }
    recorder.flush();
    auto days = store.batteryDays(day - 86400, day + 86400);
    ASSERT_EQ(days.size(), 1u);
    EXPECT_EQ(days[0], (BatteryDay{Date::fromUnixSeconds(double(day)), 91.0, int64_t(300), 1.5}));
}

// A minute across local midnight writes a part to each day, in the one
// transaction of that minute.
TEST(HistoryRecorder, AMinuteAcrossMidnightSplitsItsBatteryTime) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    const int64_t minuteStart = HistoryStore::bucketStart(now, 60);
    const int64_t midnight = minuteStart + 30;  // a zone whose midnight falls mid-minute
    HistoryRecorder recorder(store, [midnight](int64_t t) { return t < midnight ? midnight - 86400 : midnight; });
    Snapshot s;
    s.interval = Duration::seconds(1);
    s.system.battery = BatteryStats{};
    for (int i = 0; i < 60; ++i) {
        s.at = Date::fromUnixSeconds(double(minuteStart + i));
        recorder.observe(s);
    }
    EXPECT_EQ(recorder.minutesWritten(), 0);
    recorder.flush();
    EXPECT_EQ(recorder.minutesWritten(), 1);
    auto days = store.batteryDays(midnight - 2 * 86400, midnight + 86400);
    ASSERT_EQ(days.size(), 2u);
    EXPECT_DOUBLE_EQ(days[0].minutesOnBattery, 0.5);
    EXPECT_DOUBLE_EQ(days[1].minutesOnBattery, 0.5);
}

TEST(HistoryRecorder, ABaselineSnapshotIsSkipped) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    HistoryRecorder recorder(store);
    Snapshot first;
    first.at = Date::fromUnixSeconds(double(now));
    recorder.observe(first);
    EXPECT_TRUE(recorder.pending().empty());
}

}  // namespace
}  // namespace orv::cli

namespace orv::cli {
namespace {

// A month in a few seconds: a minute every quarter-hour for 31 days, with
// pruning each simulated hour, leaves 30 days of hourly buckets, two weeks of
// quarter-hours and two days of minutes.
TEST(HistoryStore, AMonthSimulated) {
    TempDir dir;
    HistoryStore store(dir.path() / "h.sqlite", HistoryStore::Access::record);
    const int64_t end = HistoryStore::bucketStart(now, 3600);
    const int64_t start = end - 31 * 86400;
    for (int64_t t = start; t < end; t += 900) {
        store.write(minuteWith(t, 50, AppIdentity::other("app" + std::to_string(t / 900 % 3)), 10));
        if (t % 3600 == 2700) store.prune(t + 900);
    }
    auto month = store.series(Metric::cpu, HistoryRange::d30, end - 1);
    EXPECT_EQ(month.size(), 720u);
    EXPECT_EQ(store.series(Metric::cpu, HistoryRange::d7, end - 1).size(), 672u);
    EXPECT_EQ(store.series(Metric::cpu, HistoryRange::h24, end - 1).size(), 96u);  // one minute per quarter-hour
    auto apps = store.appTotals(AppFigure::cpuTime, HistoryRange::d30, end - 30 * 86400, end, 10);
    ASSERT_EQ(apps.size(), 3u);
    EXPECT_EQ(store.integrityCheck(), "ok");
}

}  // namespace
}  // namespace orv::cli
