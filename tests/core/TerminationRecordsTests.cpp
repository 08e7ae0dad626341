#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include "core/AudioAppSetting.h"
#include "core/AudioClient.h"
#include "core/AudioOutputDevice.h"
#include "core/ConfirmedTermination.h"
#include "core/JsonCoding.h"
#include "core/TerminationMode.h"
#include "core/TerminationResult.h"
#include "core/TerminationTarget.h"

namespace orv {
namespace {

boost::json::value parsed(const std::string& text) { return boost::json::parse(text); }

TEST(TerminationTarget, AProcessDecodesAndEncodesBackToTheSameObject) {
    auto target = json::decode<TerminationTarget>(R"({"process": {"_0": 12}})");
    EXPECT_EQ(target, TerminationTarget{termination::Process{12}});
    EXPECT_EQ(parsed(json::encode(target)), parsed(R"({"process": {"_0": 12}})"));
}

TEST(TerminationTarget, EveryCaseHasItsKeys) {
    EXPECT_EQ(parsed(json::encode(TerminationTarget{termination::App{"app:com.example", {501, 502}}})),
              parsed(R"({"app": {"_0": "app:com.example", "pids": [501, 502]}})"));
    EXPECT_EQ(parsed(json::encode(TerminationTarget{termination::ProcessGroup{4242}})),
              parsed(R"({"processGroup": {"_0": 4242}})"));
    EXPECT_EQ(parsed(json::encode(TerminationTarget{termination::Container{"c0ffee", "web"}})),
              parsed(R"({"container": {"id": "c0ffee", "name": "web"}})"));
    for (const char* text : {R"({"app": {"_0": "a", "pids": []}})", R"({"processGroup": {"_0": 7}})",
                             R"({"container": {"id": "x", "name": "y"}})"}) {
        EXPECT_EQ(parsed(json::encode(json::decode<TerminationTarget>(text))), parsed(text)) << text;
    }
}

TEST(TerminationTarget, NoCaseOrTwoCasesFail) {
    for (const char* text : {R"({"process": {"_0": 12}, "processGroup": {"_0": 12}})", "{}", R"({"kill": {}})"}) {
        try {
            (void)json::decode<TerminationTarget>(text);
            FAIL() << text;
        } catch (const json::DecodingError& e) {
            EXPECT_EQ(e.description(), "Invalid number of keys found, expected one.") << text;
            EXPECT_EQ(e.kind(), json::DecodingError::Kind::typeMismatch);
        }
    }
}

TEST(TerminationTarget, KeysThatAreNotCaseNamesAreNotCounted) {
    EXPECT_EQ(json::decode<TerminationTarget>(R"({"kill": {}, "process": {"_0": 3}})"),
              TerminationTarget{termination::Process{3}});
}

TEST(TerminationTarget, APayloadWithoutItsKeyFails) {
    EXPECT_THROW(json::decode<TerminationTarget>(R"({"process": {"pid": 12}})"), json::DecodingError);
    EXPECT_THROW(json::decode<TerminationTarget>(R"({"app": {"_0": "a"}})"), json::DecodingError);
}

TEST(TerminationResult, BothEmptyArraysAreWritten) {
    EXPECT_EQ(parsed(json::encode(TerminationResult{})), parsed(R"({"terminated": [], "survivors": []})"));
    TerminationResult r{{10, 11}, {12}};
    EXPECT_EQ(json::decode<TerminationResult>(json::encode(r)), r);
}

TEST(ConfirmedTermination, CarriesTargetModeAndDate) {
    ConfirmedTermination c{termination::Process{9}, TerminationMode::forceQuit, Date{1000.5}};
    EXPECT_EQ(parsed(json::encode(c)),
              parsed(R"({"target": {"process": {"_0": 9}}, "mode": "forceQuit", "confirmedAt": 1000.5})"));
    EXPECT_EQ(json::decode<ConfirmedTermination>(json::encode(c)), c);
    auto d = c;
    d.mode = TerminationMode::quit;
    EXPECT_NE(c, d);
    EXPECT_NE(std::hash<ConfirmedTermination>{}(c), std::hash<ConfirmedTermination>{}(d));
}

TEST(AudioRecords, CodeUnderTheirFieldNames) {
    AudioClient client{77, "app:org.music", 0.5, true, std::nullopt, "org.music", false};
    EXPECT_EQ(parsed(json::encode(client)),
              parsed(R"({"pid": 77, "app": "app:org.music", "volume": 0.5, "isMuted": true,
                         "settingsKey": "org.music", "needsPermission": false})"));
    EXPECT_EQ(json::decode<AudioClient>(json::encode(client)), client);
    client.outputDeviceUID = "BuiltInSpeakers";
    EXPECT_EQ(json::decode<AudioClient>(json::encode(client)), client);

    AudioAppSetting setting;
    setting.volume = 0.25;
    setting.outputDeviceUID = "usb-1";
    EXPECT_EQ(parsed(json::encode(setting)),
              parsed(R"({"volume": 0.25, "isMuted": false, "outputDeviceUID": "usb-1"})"));
    setting.isMuted = true;  // a settings record changes in place
    EXPECT_EQ(json::decode<AudioAppSetting>(json::encode(setting)), setting);

    AudioOutputDevice device{"usb-1", "Headphones", true};
    EXPECT_EQ(parsed(json::encode(device)), parsed(R"({"uid": "usb-1", "name": "Headphones", "isDefault": true})"));
    EXPECT_EQ(json::decode<AudioOutputDevice>(json::encode(device)), device);
}

TEST(TerminationMode, IsWrittenAsItsCaseName) {
    EXPECT_EQ(json::encode(TerminationMode::quit), "\"quit\"");
    EXPECT_EQ(json::decode<TerminationMode>("\"forceQuit\""), TerminationMode::forceQuit);
}

}  // namespace
}  // namespace orv
