// `orvantine history` and `orvantine record` as a user runs them.
#include <gtest/gtest.h>

#include <cmath>

#include "cli/HistoryReport.h"
#include "cli/HistoryStore.h"
#include "core/JsonCoding.h"
#include "support/CommandRunner.h"
#include "support/TempDir.h"

namespace orv::cli {
namespace {

using test::runOrvantine;
using test::TempDir;

class HistoryCommand : public test::OrvantineCommandTest {};

// A recorded hour and a minute: CPU at 60 % and one app busy on one core.
std::filesystem::path recordedHour(const TempDir& dir) {
    auto path = dir.path() / "h.sqlite";
    HistoryStore store(path, HistoryStore::Access::record);
    auto now = int64_t(std::floor(Date::now().unixSeconds()));
    for (int64_t t = now - 3600; t <= now; t += 60) {
        HistoryMinute m;
        m.start = HistoryStore::bucketStart(t, 60);
        m.metrics[Metric::cpu].add(60);
        auto& entry = m.apps["other:stress"];
        entry.first = AppIdentity::other("stress");
        entry.second.seconds = 60;
        entry.second.cpuSeconds = 60;
        store.write(m);
    }
    return path;
}

TEST_F(HistoryCommand, ShowsTheCurveTheGradeAndTheApps) {
    TempDir dir;
    auto path = recordedHour(dir);
    auto result = runOrvantine("history --range 12h --database " + path.string());
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("CPU, last 12 h in 1m buckets"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("\u2588"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("Average 60%, peak 60%   Elevated"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("1.      1h 1m  stress"), std::string::npos) << result.out;
}

TEST_F(HistoryCommand, JsonIsTheReportRecord) {
    TempDir dir;
    auto path = recordedHour(dir);
    auto result = runOrvantine("history --json --metric cpu --database " + path.string());
    ASSERT_EQ(result.status, 0) << result.err;
    auto report = json::decode<HistoryReport>(result.out);
    EXPECT_EQ(report.range, HistoryRange::h12);
    EXPECT_GE(report.series.size(), 60u);
    EXPECT_EQ(report.status, MetricStatus::elevated);
    ASSERT_FALSE(report.apps.empty());
    EXPECT_EQ(report.apps[0].app, AppIdentity::other("stress"));
    EXPECT_NE(result.out.find(R"("change":{"new":{}})"), std::string::npos) << result.out;
}

TEST_F(HistoryCommand, BadArgumentsAndMissingFilesAreClearErrors) {
    TempDir dir;
    auto missing = runOrvantine("history --database " + (dir.path() / "none.sqlite").string());
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("no history at"), std::string::npos) << missing.err;
    auto range = runOrvantine("history --range 7days --database " + (dir.path() / "none.sqlite").string());
    EXPECT_NE(range.status, 0);
    auto metric = runOrvantine("history --metric loudness --database " + recordedHour(dir).string());
    EXPECT_NE(metric.status, 0);
    EXPECT_NE(metric.err.find("unknown metric loudness"), std::string::npos) << metric.err;
}

TEST_F(HistoryCommand, ASecondRecorderIsRefusedWithAClearMessage) {
    TempDir dir;
    auto path = dir.path() / "h.sqlite";
    HistoryStore first(path, HistoryStore::Access::record);
    auto second = runOrvantine("record --no-alerts --database " + path.string());
    EXPECT_EQ(second.status, 1);
    EXPECT_NE(second.err.find("another recorder (pid " + std::to_string(getpid()) + ") is already writing"),
              std::string::npos)
        << second.err;
}

}  // namespace
}  // namespace orv::cli
