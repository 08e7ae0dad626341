// The alert vocabulary: quiet hours, default settings, JSON forms.
#include <gtest/gtest.h>

#include <functional>

#include "core/Alert.h"
#include "core/AlertSettings.h"
#include "core/AlertState.h"
#include "core/AppActivityHistory.h"
#include "core/DecodingError.h"
#include "core/JsonCoding.h"
#include "core/QuietHours.h"

namespace orv {
namespace {

const AlertCalendar utc{"UTC"};

// 2023-11-14 at hh:mm UTC.
Date utcTime(int hour, int minute) { return Date::fromUnixSeconds(1'699'920'000.0 + hour * 3600 + minute * 60); }

TEST(QuietHours, AcrossMidnight) {
    QuietHours quiet{1320, 420};
    EXPECT_TRUE(quiet.contains(utcTime(23, 30), utc));
    EXPECT_TRUE(quiet.contains(utcTime(6, 59), utc));
    EXPECT_FALSE(quiet.contains(utcTime(7, 0), utc));
    EXPECT_FALSE(quiet.contains(utcTime(21, 59), utc));
    EXPECT_TRUE(quiet.contains(utcTime(22, 0), utc));
}

TEST(QuietHours, WithinOneDay) {
    QuietHours quiet{540, 1020};
    EXPECT_TRUE(quiet.contains(utcTime(9, 0), utc));
    EXPECT_TRUE(quiet.contains(utcTime(16, 59), utc));
    EXPECT_FALSE(quiet.contains(utcTime(17, 0), utc));
    EXPECT_FALSE(quiet.contains(utcTime(8, 59), utc));
}

TEST(QuietHours, EqualEndsAreEmpty) {
    QuietHours quiet{600, 600};
    for (int hour = 0; hour < 24; ++hour) {
        EXPECT_FALSE(quiet.contains(utcTime(hour, 0), utc));
        EXPECT_FALSE(quiet.contains(utcTime(hour, 59), utc));
    }
}

TEST(QuietHours, ReadInTheCalendarsTimeZone) {
    // 05:30 UTC is 23:30 of the day before in Chicago (CST, UTC−6) and
    // 14:30 in Tokyo.
    QuietHours quiet{1320, 420};
    EXPECT_TRUE(quiet.contains(utcTime(5, 30), AlertCalendar{"America/Chicago"}));
    EXPECT_FALSE(quiet.contains(utcTime(5, 30), AlertCalendar{"Asia/Tokyo"}));
    // Half-hour zones count their minutes: 16:29 UTC is 21:59 in Kolkata.
    EXPECT_FALSE(quiet.contains(utcTime(16, 29), AlertCalendar{"Asia/Kolkata"}));
    EXPECT_TRUE(quiet.contains(utcTime(16, 30), AlertCalendar{"Asia/Kolkata"}));
}

TEST(QuietHours, DaylightSavingMovesTheWallClock) {
    // 2023-07-14 21:30 UTC is 23:30 in Berlin in summer (UTC+2); in
    // November the same UTC time is 22:30 (UTC+1): both quiet, but 20:30
    // UTC is 22:30 in summer and 21:30 in winter.
    QuietHours quiet{1320, 420};
    const AlertCalendar berlin{"Europe/Berlin"};
    Date summer = Date::fromUnixSeconds(1'689'292'800.0 + 20 * 3600 + 30 * 60);
    EXPECT_TRUE(quiet.contains(summer, berlin));
    EXPECT_FALSE(quiet.contains(utcTime(20, 30), berlin));
}

TEST(AlertCalendar, AnUnknownZoneReadsAsGMT) {
    auto parts = AlertCalendar{"Nowhere/Atlantis"}.hourAndMinute(utcTime(13, 7));
    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->hour, 13);
    EXPECT_EQ(parts->minute, 7);
    EXPECT_FALSE(AlertCalendar::current().timeZoneID.empty());
}

TEST(AlertSettings, Defaults) {
    const auto& d = AlertSettings::defaults();
    ASSERT_EQ(d.rules.size(), 4u);
    EXPECT_EQ(d.rules.at(AlertRule::highCPU), (RuleSettings{true, 70.0, Duration::seconds(600)}));
    EXPECT_EQ(d.rules.at(AlertRule::growingMemory), (RuleSettings{true, 1073741824.0, Duration::seconds(3600)}));
    EXPECT_EQ(d.rules.at(AlertRule::heavyDisk), (RuleSettings{true, 50000000.0, Duration::seconds(300)}));
    EXPECT_EQ(d.rules.at(AlertRule::heavyNetwork), (RuleSettings{true, 10000000.0, Duration::seconds(300)}));
    EXPECT_EQ(d.cooldown, Duration::seconds(3600));
    EXPECT_TRUE(d.mutedAppIDs.empty());
    EXPECT_FALSE(d.quietHours);
    EXPECT_TRUE(d.exemptsFrontmostApp);
}

TEST(AlertSettings, DefaultsEncodeEveryRuleEnabledAndDecodeBackEqual) {
    auto text = json::encode(AlertSettings::defaults());
    EXPECT_EQ(text.find("quietHours"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("rules":["highCPU",{"isEnabled":true,"threshold":70.0,"window":[32,9704189641294348288]})"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(R"("mutedAppIDs":[])"), std::string::npos) << text;
    size_t enabled = 0;
    for (size_t at = 0; (at = text.find("\"isEnabled\":true", at)) != std::string::npos; ++at) ++enabled;
    EXPECT_EQ(enabled, 4u);
    EXPECT_EQ(json::decode<AlertSettings>(text), AlertSettings::defaults());
}

TEST(AlertSettings, MutedAppsAndQuietHoursRoundTrip) {
    auto settings = AlertSettings::defaults();
    settings.mutedAppIDs = {"org.mozilla.firefox", "other:stress"};
    settings.quietHours = QuietHours{1320, 420};
    auto text = json::encode(settings);
    EXPECT_NE(text.find(R"("mutedAppIDs":["org.mozilla.firefox","other:stress"])"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("quietHours":{"startMinute":1320,"endMinute":420})"), std::string::npos) << text;
    EXPECT_EQ(json::decode<AlertSettings>(text), settings);
    EXPECT_NE(std::hash<AlertSettings>{}(settings), std::hash<AlertSettings>{}(AlertSettings::defaults()));
}

TEST(AlertSettings, AnUnknownRuleFailsToDecode) {
    EXPECT_THROW(json::decode<AlertSettings>(
                     R"({"rules":["loudFan",{"isEnabled":true,"threshold":1,"window":[0,0]}],"cooldown":[0,0],)"
                     R"("mutedAppIDs":[],"exemptsFrontmostApp":true})"),
                 json::DecodingError);
}

TEST(AlertState, LastFiredIsAFlatArray) {
    AlertState state;
    state.lastFired[AlertKey{"other:stress", AlertRule::highCPU}] = Date{100};
    EXPECT_EQ(json::encode(state), R"({"lastFired":[{"appID":"other:stress","rule":"highCPU"},100.0]})");
    EXPECT_EQ(json::decode<AlertState>(json::encode(state)), state);
}

TEST(Alert, IdIsARandomUpperCaseUUID) {
    auto a = UUID::random();
    auto b = UUID::random();
    EXPECT_NE(a, b);
    auto text = a.string();
    ASSERT_EQ(text.size(), 36u);
    EXPECT_EQ(text[14], '4');
    for (char c : text) EXPECT_TRUE((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || c == '-') << text;
    EXPECT_EQ(UUID::parse(text), a);
    EXPECT_EQ(UUID::parse("e621e1f8-c36c-495a-93fc-0c247a3e6e5f")->string(), "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    EXPECT_FALSE(UUID::parse("E621E1F8C36C-495A-93FC-0C247A3E6E5F0"));
}

TEST(Alert, RoundTrip) {
    Alert alert{*UUID::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F"), AlertRule::heavyDisk,
                AppIdentity::other("dd"), Date{5}, "dd is writing a lot to disk", "body"};
    auto text = json::encode(alert);
    EXPECT_NE(text.find(R"("id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F")"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("rule":"heavyDisk")"), std::string::npos) << text;
    EXPECT_EQ(json::decode<Alert>(text), alert);
    EXPECT_THROW(json::decode<Alert>(R"({"id":"nope"})"), json::DecodingError);
}

TEST(AppActivityHistory, AbsentNetworkFiguresAreLeftOut) {
    AppActivityHistory history{AppIdentity::other("curl"), {{Date{1}, 5, 100, 0, std::nullopt, 2.5}}};
    auto text = json::encode(history);
    EXPECT_EQ(text.find("netInBPS"), std::string::npos) << text;
    EXPECT_NE(text.find("netOutBPS"), std::string::npos) << text;
    EXPECT_EQ(json::decode<AppActivityHistory>(text), history);
}

}  // namespace
}  // namespace orv
