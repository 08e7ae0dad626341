// The recorder's alerting: settings and state files, the kept activity, and
// a cooldown that survives a restart.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "cli/AlertWatch.h"
#include "core/JsonCoding.h"
#include "support/TempDir.h"

namespace orv::cli {
namespace {

using test::TempDir;

std::string contents(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

AlertWatch::Options optionsIn(const TempDir& dir) {
    AlertWatch::Options o;
    o.settingsPath = dir.path() / "config" / "alerts.json";
    o.statePath = dir.path() / "state" / "alert-state.json";
    o.desktopNotifications = false;
    o.calendar = AlertCalendar{"UTC"};
    return o;
}

// CPU at 10 s windows, nothing else, a cooldown of an hour.
void writeShortSettings(const AlertWatch::Options& o) {
    auto settings = AlertSettings::defaults();
    for (auto& [rule, setting] : settings.rules) setting.isEnabled = rule == AlertRule::highCPU;
    settings.rules[AlertRule::highCPU] = {true, 80, Duration::seconds(10)};
    std::filesystem::create_directories(o.settingsPath.parent_path());
    std::ofstream(o.settingsPath) << json::encode(settings);
}

Snapshot hogAt(double seconds, double cpu = 100) {
    Snapshot s;
    s.at = Date{1000 + seconds};
    s.interval = Duration::seconds(1);
    AppAggregate hog;
    hog.app = AppIdentity::other("stress");
    hog.cpuPercent = cpu;
    s.apps = {hog};
    return s;
}

TEST(AlertWatch, AMissingSettingsFileGetsTheDefaults) {
    TempDir dir;
    std::ostringstream report;
    AlertWatch watch(optionsIn(dir), report);
    EXPECT_EQ(watch.settings(), AlertSettings::defaults());
    EXPECT_EQ(json::decode<AlertSettings>(contents(optionsIn(dir).settingsPath)), AlertSettings::defaults());
    EXPECT_EQ(report.str(), "");
}

TEST(AlertWatch, ASettingsFileThatDoesNotDecodeIsReportedAndLeftAlone) {
    TempDir dir;
    auto o = optionsIn(dir);
    std::filesystem::create_directories(o.settingsPath.parent_path());
    const std::string broken = R"({"rules":["highCPU",{"isEnabled":"yes"}],"cooldown":[0,0]})";
    std::ofstream(o.settingsPath) << broken;
    std::ostringstream report;
    AlertWatch watch(o, report);
    EXPECT_EQ(watch.settings(), AlertSettings::defaults());
    EXPECT_NE(report.str().find("do not decode"), std::string::npos) << report.str();
    EXPECT_NE(report.str().find("isEnabled"), std::string::npos) << report.str();  // the decoder's message
    EXPECT_NE(report.str().find("using the defaults"), std::string::npos) << report.str();
    EXPECT_EQ(contents(o.settingsPath), broken);
}

TEST(AlertWatch, OneAlertThenQuietForTheCooldownEvenAfterARestart) {
    TempDir dir;
    auto o = optionsIn(dir);
    writeShortSettings(o);
    std::ostringstream report;
    size_t raised = 0;
    {
        AlertWatch watch(o, report);
        for (int i = 0; i <= 30; ++i) raised += watch.observe(hogAt(i)).size();
    }
    EXPECT_EQ(raised, 1u);
    auto state = json::decode<AlertState>(contents(o.statePath));
    ASSERT_EQ(state.lastFired.size(), 1u);
    EXPECT_EQ(state.lastFired.begin()->first, (AlertKey{"other:stress", AlertRule::highCPU}));

    AlertWatch restarted(o, report);
    for (int i = 31; i <= 90; ++i) raised += restarted.observe(hogAt(i)).size();
    EXPECT_EQ(raised, 1u);
    EXPECT_EQ(report.str(), "");
}

TEST(AlertWatch, TheWindowNeedsItsHistory) {
    TempDir dir;
    auto o = optionsIn(dir);
    writeShortSettings(o);
    std::ostringstream report;
    AlertWatch watch(o, report);
    // Eight seconds reach back less than the 10 s window less its slack
    // (1.67 s); nine seconds do.
    for (int i = 0; i <= 8; ++i) EXPECT_TRUE(watch.observe(hogAt(i)).empty()) << i;
    EXPECT_EQ(watch.observe(hogAt(9)).size(), 1u);
}

TEST(AlertWatch, AStateFileThatDoesNotDecodeStartsWithoutCooldowns) {
    TempDir dir;
    auto o = optionsIn(dir);
    writeShortSettings(o);
    std::filesystem::create_directories(o.statePath.parent_path());
    std::ofstream(o.statePath) << "{";
    std::ostringstream report;
    AlertWatch watch(o, report);
    EXPECT_TRUE(watch.state().lastFired.empty());
    EXPECT_NE(report.str().find("alert state"), std::string::npos) << report.str();
}

TEST(AlertWatch, PointsCarryTheAppsFigures) {
    AppAggregate app;
    app.cpuPercent = 12;
    app.memoryBytes = 34;
    app.diskWriteBPS = 56;
    app.netInBPS = 7;
    auto point = AlertWatch::pointOf(app, Date{9});
    EXPECT_EQ(point, (AppActivityPoint{Date{9}, 12, 34, 56, 7.0, std::nullopt}));
}

}  // namespace
}  // namespace orv::cli
