#include <gtest/gtest.h>

#include "Sampling/BundleAppRule.h"

namespace orv {
namespace {

TEST(BundleAppRule, TheAppsOwnExecutableIsInsideItsBundle) {
    EXPECT_EQ(BundleAppRule::outermostBundle("/Applications/Safari.app/Contents/MacOS/Safari"),
              "/Applications/Safari.app");
}

TEST(BundleAppRule, AHelperInANestedBundleBelongsToTheOutermostBundle) {
    EXPECT_EQ(BundleAppRule::outermostBundle("/Applications/Google Chrome.app/Contents/Frameworks/Google Chrome "
                                             "Framework.framework/Versions/120/Helpers/Google Chrome Helper "
                                             "(Renderer).app/Contents/MacOS/Google Chrome Helper (Renderer)"),
              "/Applications/Google Chrome.app");
}

TEST(BundleAppRule, AnXPCServiceInsideAnAppBelongsToTheApp) {
    EXPECT_EQ(BundleAppRule::outermostBundle(
                  "/Applications/Xcode.app/Contents/SharedFrameworks/X.framework/XPCServices/S.xpc/Contents/MacOS/S"),
              "/Applications/Xcode.app");
}

TEST(BundleAppRule, TheExtensionIsMatchedWithoutRegardToCase) {
    EXPECT_EQ(BundleAppRule::outermostBundle("/Users/a/Tools/Thing.APP/Contents/MacOS/thing"),
              "/Users/a/Tools/Thing.APP");
}

TEST(BundleAppRule, PathsWithoutABundleComponentHaveNone) {
    EXPECT_EQ(BundleAppRule::outermostBundle("/usr/bin/python3"), std::nullopt);
    EXPECT_EQ(BundleAppRule::outermostBundle("/opt/app/bin/tool"), std::nullopt);  // "app" is no bundle
    EXPECT_EQ(BundleAppRule::outermostBundle("/tmp/.app/x"), std::nullopt);         // nor is a bare extension
    EXPECT_EQ(BundleAppRule::outermostBundle("/tmp/notes.apple/x"), std::nullopt);
    EXPECT_EQ(BundleAppRule::outermostBundle(""), std::nullopt);
}

TEST(BundleAppRule, SystemFoldersAreRecognised) {
    EXPECT_TRUE(BundleAppRule::isSystemPath("/System/Library/CoreServices/launchservicesd"));
    EXPECT_TRUE(BundleAppRule::isSystemPath("/usr/libexec/trustd"));
    EXPECT_TRUE(BundleAppRule::isSystemPath("/usr/sbin/cfprefsd"));
    EXPECT_FALSE(BundleAppRule::isSystemPath("/usr/bin/ssh"));
    EXPECT_FALSE(BundleAppRule::isSystemPath("/Systematic/tool"));
}

TEST(BundleAppRule, TerminalBundlesAreRecognised) {
    EXPECT_TRUE(BundleAppRule::isTerminalBundle("com.apple.Terminal"));
    EXPECT_TRUE(BundleAppRule::isTerminalBundle("com.googlecode.iterm2"));
    EXPECT_FALSE(BundleAppRule::isTerminalBundle("com.apple.Safari"));
}

TEST(BundleAppRule, InfoPlistGivesIdentifierAndDisplayName) {
    PropertyValue plist(PropertyValue::Dictionary{{"CFBundleIdentifier", "com.apple.Safari"},
                                                  {"CFBundleName", "Safari"},
                                                  {"CFBundleDisplayName", "Safari Browser"}});
    auto info = BundleAppRule::bundleInfo("/Applications/Safari.app", plist);
    EXPECT_EQ(info.bundleID, "com.apple.Safari");
    EXPECT_EQ(info.name, "Safari Browser");
}

TEST(BundleAppRule, WithoutADisplayNameTheBundleNameIsUsed) {
    PropertyValue plist(PropertyValue::Dictionary{{"CFBundleIdentifier", "com.example.x"}, {"CFBundleName", "X"}});
    EXPECT_EQ(BundleAppRule::bundleInfo("/Applications/X Tool.app", plist).name, "X");
}

TEST(BundleAppRule, WithoutAReadableInfoPlistTheFileNameIsTheName) {
    auto info = BundleAppRule::bundleInfo("/Applications/Some Tool.app", std::nullopt);
    EXPECT_EQ(info.bundleID, std::nullopt);
    EXPECT_EQ(info.name, "Some Tool");
    // A plist of the wrong shape, or with empty or non-string values, is the same.
    auto wrong = BundleAppRule::bundleInfo("/A/B.app", PropertyValue(int64_t(3)));
    EXPECT_EQ(wrong.name, "B");
    PropertyValue odd(PropertyValue::Dictionary{{"CFBundleIdentifier", int64_t(7)}, {"CFBundleName", ""}});
    auto oddInfo = BundleAppRule::bundleInfo("/A/C.app/", odd);
    EXPECT_EQ(oddInfo.bundleID, std::nullopt);
    EXPECT_EQ(oddInfo.name, "C");
}

}  // namespace
}  // namespace orv
