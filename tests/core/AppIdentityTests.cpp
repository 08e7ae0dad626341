#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include <functional>

#include "core/AppIdentity.h"
#include "core/JsonCoding.h"

namespace orv {
namespace {

AppIdentity safari() {
    return AppIdentity{"com.apple.Safari", "Safari", "com.apple.Safari", "com.apple.Safari", AppIdentity::Kind::app};
}

TEST(AppIdentity, OtherIsKeyedByTheExecutableName) {
    auto identity = AppIdentity::other("mds_stores");
    EXPECT_EQ(identity.id, "other:mds_stores");
    EXPECT_EQ(identity.name, "mds_stores");
    EXPECT_EQ(identity.bundleID, std::nullopt);
    EXPECT_EQ(identity.iconKey, "other");
    EXPECT_EQ(identity.kind, AppIdentity::Kind::other);
}

TEST(AppIdentity, TwoProcessesWithOneExecutableNameShareTheOtherIdentity) {
    EXPECT_EQ(AppIdentity::other("node"), AppIdentity::other("node"));
    EXPECT_NE(AppIdentity::other("node"), AppIdentity::other("nodejs"));
}

TEST(AppIdentity, IdentitiesThatDifferOnlyInKindAreUnequal) {
    auto a = safari();
    auto b = safari();
    b.kind = AppIdentity::Kind::system;
    EXPECT_NE(a, b);
}

TEST(AppIdentity, HashFollowsEveryField) {
    auto a = safari();
    auto b = safari();
    EXPECT_EQ(std::hash<AppIdentity>{}(a), std::hash<AppIdentity>{}(b));
    b.iconKey = "other";
    EXPECT_NE(std::hash<AppIdentity>{}(a), std::hash<AppIdentity>{}(b));
}

TEST(AppIdentity, EncodesItsFieldNamesAndTheKindAsABareString) {
    auto v = boost::json::parse(json::encode(safari()));
    EXPECT_EQ(v, boost::json::parse(R"({"id":"com.apple.Safari","name":"Safari","bundleID":"com.apple.Safari",
                                        "iconKey":"com.apple.Safari","kind":"app"})"));
}

TEST(AppIdentity, AbsentBundleIDLeavesTheKeyOut) {
    auto v = boost::json::parse(json::encode(AppIdentity::other("zsh")));
    ASSERT_TRUE(v.is_object());
    EXPECT_FALSE(v.as_object().contains("bundleID"));
    EXPECT_EQ(v, boost::json::parse(R"({"id":"other:zsh","name":"zsh","iconKey":"other","kind":"other"})"));
}

TEST(AppIdentity, EveryKindRoundTrips) {
    for (auto kind : {AppIdentity::Kind::app, AppIdentity::Kind::terminal, AppIdentity::Kind::system,
                      AppIdentity::Kind::other}) {
        auto identity = safari();
        identity.kind = kind;
        EXPECT_EQ(json::decode<AppIdentity>(json::encode(identity)), identity);
    }
    EXPECT_EQ(json::encode(AppIdentity::Kind::terminal), "\"terminal\"");
}

TEST(AppIdentity, NullBundleIDDecodesAsAbsent) {
    auto identity = json::decode<AppIdentity>(
        R"({"id":"other:zsh","name":"zsh","bundleID":null,"iconKey":"other","kind":"other"})");
    EXPECT_EQ(identity, AppIdentity::other("zsh"));
}

TEST(AppIdentity, UnknownKindIsDataCorrupted) {
    try {
        json::decode<AppIdentity>(R"({"id":"x","name":"x","iconKey":"x","kind":"daemon"})");
        FAIL() << "an unknown kind decoded";
    } catch (const json::DecodingError& e) {
        EXPECT_EQ(e.kind(), json::DecodingError::Kind::dataCorrupted);
        EXPECT_EQ(e.path(), "kind");
    }
}

TEST(AppIdentity, MissingIconKeyIsKeyNotFound) {
    try {
        json::decode<AppIdentity>(R"({"id":"x","name":"x","kind":"app"})");
        FAIL() << "a record without iconKey decoded";
    } catch (const json::DecodingError& e) {
        EXPECT_EQ(e.kind(), json::DecodingError::Kind::keyNotFound);
    }
}

}  // namespace
}  // namespace orv
