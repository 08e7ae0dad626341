// Turning app activity into alerts: each rule at its boundary, coverage of
// the window, and every reason to stay quiet.
#include <gtest/gtest.h>

#include <vector>

#include "core/AlertEvaluator.h"

namespace orv {
namespace {

const Date now = Date::fromUnixSeconds(1'699'963'200);  // 2023-11-14 12:00 UTC
const NumberLocale posix("C");

AppIdentity hog() { return AppIdentity::other("stress"); }

// One rule on, a 60 s window, no cooldown left over.
AlertSettings only(AlertRule rule, double threshold) {
    AlertSettings s = AlertSettings::defaults();
    for (auto& [r, setting] : s.rules) setting.isEnabled = r == rule;
    s.rules[rule].threshold = threshold;
    s.rules[rule].window = Duration::seconds(60);
    return s;
}

AppActivityPoint point(double age, double cpu = 0, uint64_t memory = 0, double disk = 0,
                       std::optional<double> in = std::nullopt, std::optional<double> out = std::nullopt) {
    return {Date{now.secondsSinceReferenceDate - age}, cpu, memory, disk, in, out};
}

// Points every 5 s from 60 s ago to now, made by `make(age)`.
template <class Make>
AppActivityHistory history(Make make, double oldest = 60) {
    AppActivityHistory h{hog(), {}};
    for (double age = oldest; age >= 0; age -= 5) h.points.push_back(make(age));
    return h;
}

AlertContext context(std::optional<std::string> front = std::nullopt) { return {now, front, AlertCalendar{"UTC"}}; }

std::vector<Alert> run(const AlertSettings& settings, const AppActivityHistory& h, AlertState& state,
                       const AlertContext& ctx = context()) {
    return AlertEvaluator::evaluate(settings, state, ctx, std::span(&h, 1), posix);
}

std::vector<Alert> run(const AlertSettings& settings, const AppActivityHistory& h) {
    AlertState state;
    return run(settings, h, state);
}

TEST(AlertEvaluator, HighCPUFiresWhenEveryPointIsAtTheThreshold) {
    auto settings = only(AlertRule::highCPU, 70);
    auto fired = run(settings, history([](double age) { return point(age, 70.0); }));
    ASSERT_EQ(fired.size(), 1u);
    EXPECT_EQ(fired[0].rule, AlertRule::highCPU);
    EXPECT_EQ(fired[0].app, hog());
    EXPECT_EQ(fired[0].firedAt, now);
    EXPECT_EQ(fired[0].title, "stress is using a lot of CPU");
    EXPECT_EQ(fired[0].body, "stress has used 70% CPU on average for 1m, never less than 70%.");
}

TEST(AlertEvaluator, HighCPUStaysQuietAfterOneDip) {
    auto settings = only(AlertRule::highCPU, 70);
    EXPECT_TRUE(run(settings, history([](double age) { return point(age, age == 30 ? 69.99 : 100.0); })).empty());
}

TEST(AlertEvaluator, PointsBeforeTheWindowDoNotCount) {
    auto settings = only(AlertRule::highCPU, 70);
    auto h = history([](double age) { return point(age, 90.0); });
    h.points.insert(h.points.begin(), point(61, 1.0));
    EXPECT_EQ(run(settings, h).size(), 1u);
}

TEST(AlertEvaluator, TheWindowMustBeCovered) {
    auto settings = only(AlertRule::highCPU, 70);
    // The slack for a 60 s window is 5 s: a history from 55 s ago covers it,
    // one from 54 s ago does not.
    EXPECT_EQ(AlertEvaluator::coverageSlack(Duration::seconds(60)), Duration::seconds(5));
    EXPECT_EQ(AlertEvaluator::coverageSlack(Duration::seconds(12)), Duration::seconds(2));
    EXPECT_EQ(run(settings, history([](double age) { return point(age, 90.0); }, 55)).size(), 1u);
    EXPECT_TRUE(run(settings, history([](double age) { return point(age, 90.0); }, 54)).empty());
    EXPECT_TRUE(run(settings, AppActivityHistory{hog(), {}}).empty());
}

TEST(AlertEvaluator, GrowingMemoryNeedsMoreThanTheThreshold) {
    auto settings = only(AlertRule::growingMemory, 1000);
    auto grown = [](uint64_t by) {
        return history([by](double age) { return point(age, 0, age == 0 ? 5000 + by : 5000); });
    };
    EXPECT_TRUE(run(settings, grown(1000)).empty());
    auto fired = run(settings, grown(1001));
    ASSERT_EQ(fired.size(), 1u);
    EXPECT_EQ(fired[0].title, "stress keeps growing in memory");
    EXPECT_EQ(fired[0].body, "stress grew by 1001 B in 1m, to 5.9 kB.");
}

TEST(AlertEvaluator, GrowingMemoryIsFirstToLastNotPeak) {
    auto settings = only(AlertRule::growingMemory, 1000);
    // A spike in the middle that falls back is no growth.
    EXPECT_TRUE(run(settings, history([](double age) { return point(age, 0, age == 30 ? 900000 : 5000); })).empty());
}

TEST(AlertEvaluator, HeavyDiskOnTheMean) {
    auto settings = only(AlertRule::heavyDisk, 1000);
    // 13 points: twelve at 1000 and the newest alternately raising and
    // lowering the mean across the threshold.
    auto withNewest = [](double newest) {
        return history([newest](double age) { return point(age, 0, 0, age == 0 ? newest : 1000.0); });
    };
    EXPECT_EQ(run(settings, withNewest(1000)).size(), 1u);
    EXPECT_TRUE(run(settings, withNewest(999)).empty());
    // A mean at the threshold fires even though single points are below it.
    EXPECT_EQ(run(settings, history([](double age) { return point(age, 0, 0, age == 60 ? 13000.0 : 0.0); })).size(),
              1u);
}

TEST(AlertEvaluator, HeavyNetworkCountsBothDirections) {
    auto settings = only(AlertRule::heavyNetwork, 1000);
    auto fired = run(settings, history([](double age) { return point(age, 0, 0, 0, 600.0, 400.0); }));
    ASSERT_EQ(fired.size(), 1u);
    EXPECT_EQ(fired[0].title, "stress is using a lot of network");
    EXPECT_TRUE(run(settings, history([](double age) { return point(age, 0, 0, 0, 600.0, 399.0); })).empty());
}

TEST(AlertEvaluator, HeavyNetworkNeedsNetworkFigures) {
    auto settings = only(AlertRule::heavyNetwork, 1000);
    EXPECT_TRUE(run(settings, history([](double age) {
                        return age == 30 ? point(age, 0, 0, 0, std::nullopt, 1e9) : point(age, 0, 0, 0, 1e9, 1e9);
                    })).empty());
}

TEST(AlertEvaluator, DisabledRulesAreNotJudged) {
    auto settings = only(AlertRule::highCPU, 70);
    settings.rules[AlertRule::highCPU].isEnabled = false;
    EXPECT_TRUE(run(settings, history([](double age) { return point(age, 100.0); })).empty());
}

TEST(AlertEvaluator, MutedAppsNeverAlert) {
    auto settings = only(AlertRule::highCPU, 70);
    settings.mutedAppIDs = {hog().id};
    AlertState state;
    EXPECT_TRUE(run(settings, history([](double age) { return point(age, 100.0); }), state).empty());
    EXPECT_TRUE(state.lastFired.empty());
}

TEST(AlertEvaluator, TheFrontAppIsExemptOnlyWhenSet) {
    auto settings = only(AlertRule::highCPU, 70);
    auto h = history([](double age) { return point(age, 100.0); });
    AlertState state;
    EXPECT_TRUE(run(settings, h, state, context(hog().id)).empty());
    EXPECT_EQ(run(settings, h, state, context("org.gnome.Terminal")).size(), 1u);
    settings.exemptsFrontmostApp = false;
    AlertState fresh;
    EXPECT_EQ(run(settings, h, fresh, context(hog().id)).size(), 1u);
}

TEST(AlertEvaluator, QuietHoursAcrossMidnightInAnotherTimeZone) {
    auto settings = only(AlertRule::highCPU, 70);
    settings.quietHours = QuietHours{1320, 420};  // 22:00 to 07:00
    auto h = history([](double age) { return point(age, 100.0); });
    // 12:00 UTC is 01:00 the next day in Auckland (NZDT, UTC+13): quiet.
    AlertState state;
    EXPECT_TRUE(run(settings, h, state, AlertContext{now, std::nullopt, AlertCalendar{"Pacific/Auckland"}}).empty());
    EXPECT_TRUE(state.lastFired.empty());
    // 12:00 UTC is 07:00 in New York (EST, UTC−5): the end minute is outside.
    EXPECT_EQ(run(settings, h, state, AlertContext{now, std::nullopt, AlertCalendar{"America/New_York"}}).size(), 1u);
}

TEST(AlertEvaluator, CooldownThenFiresAgainAndSetsLastFired) {
    auto settings = only(AlertRule::highCPU, 70);
    settings.cooldown = Duration::seconds(3600);
    auto h = history([](double age) { return point(age, 100.0); });
    AlertKey key{hog().id, AlertRule::highCPU};
    AlertState state;
    state.lastFired[key] = Date{now.secondsSinceReferenceDate - 3599};
    EXPECT_TRUE(run(settings, h, state).empty());
    EXPECT_EQ(state.lastFired[key], Date{now.secondsSinceReferenceDate - 3599});
    state.lastFired[key] = Date{now.secondsSinceReferenceDate - 3600};
    EXPECT_EQ(run(settings, h, state).size(), 1u);
    EXPECT_EQ(state.lastFired[key], now);
    // Straight after, the same rule for the same app is in its cooldown...
    EXPECT_TRUE(run(settings, h, state).empty());
    // ...but another app is not.
    auto other = h;
    other.app = AppIdentity::other("yes");
    EXPECT_EQ(run(settings, other, state).size(), 1u);
}

TEST(AlertEvaluator, SeveralRulesForOneAppFireTogetherInRuleOrder) {
    AlertSettings settings = AlertSettings::defaults();
    for (auto& [rule, setting] : settings.rules) setting.window = Duration::seconds(60);
    settings.rules[AlertRule::highCPU].threshold = 50;
    settings.rules[AlertRule::heavyDisk].threshold = 10;
    auto fired = run(settings, history([](double age) { return point(age, 90.0, 0, 20.0); }));
    ASSERT_EQ(fired.size(), 2u);
    EXPECT_EQ(fired[0].rule, AlertRule::highCPU);
    EXPECT_EQ(fired[1].rule, AlertRule::heavyDisk);
    EXPECT_NE(fired[0].id, fired[1].id);
}

}  // namespace
}  // namespace orv
