#include <gtest/gtest.h>

#include "Sampling/CgroupAppRule.h"

namespace orv {
namespace {

using Kind = CgroupAppRule::Owner::Kind;
constexpr const char* userApps = "/user.slice/user-1000.slice/user@1000.service/app.slice/";

CgroupAppRule::Owner owner(const std::string& tail) { return CgroupAppRule::ownerOf(userApps + tail); }

TEST(CgroupAppRule, UnifiedPathIsTheZeroLineOfAMixedHierarchyFile) {
    auto path = CgroupAppRule::unifiedPath("4:memory:/x\n1:cpu:/\n0::/user.slice/app.slice/a.scope\n");
    EXPECT_EQ(path, "/user.slice/app.slice/a.scope");
    EXPECT_EQ(CgroupAppRule::unifiedPath("0::/\n"), "/");
    EXPECT_EQ(CgroupAppRule::unifiedPath("0::/system.slice/ssh.service"), "/system.slice/ssh.service");
}

TEST(CgroupAppRule, AFileWithoutAZeroLineHasNoUnifiedPath) {
    EXPECT_EQ(CgroupAppRule::unifiedPath("4:memory:/x\n1:cpu:/\n"), std::nullopt);
    EXPECT_EQ(CgroupAppRule::unifiedPath(""), std::nullopt);
    EXPECT_EQ(CgroupAppRule::unifiedPath("10::/not-the-unified-line\n"), std::nullopt);
}

TEST(CgroupAppRule, UnescapeUndoesHexEscapesAndKeepsMalformedOnes) {
    EXPECT_EQ(CgroupAppRule::unescape("google\\x2dchrome"), "google-chrome");
    EXPECT_EQ(CgroupAppRule::unescape("a\\x2fb\\x20c"), "a/b c");
    EXPECT_EQ(CgroupAppRule::unescape("bad\\x2"), "bad\\x2");
    EXPECT_EQ(CgroupAppRule::unescape("bad\\xzz"), "bad\\xzz");
    EXPECT_EQ(CgroupAppRule::unescape("trailing\\"), "trailing\\");
}

TEST(CgroupAppRule, AnAppScopeWithALauncherNamesTheApp) {
    auto o = owner("app-gnome-org.gnome.Calculator-3121.scope");
    EXPECT_EQ(o.kind, Kind::app);
    EXPECT_EQ(o.appID, "org.gnome.Calculator");
    EXPECT_EQ(o.desktopFileID, "org.gnome.Calculator");
}

TEST(CgroupAppRule, AnAppScopeWithoutALauncherNamesTheApp) {
    EXPECT_EQ(owner("app-firefox-4711.scope").appID, "firefox");
}

TEST(CgroupAppRule, EscapedDashesStayInsideTheAppID) {
    auto o = owner("app-gnome-google\\x2dchrome-9876.scope");
    EXPECT_EQ(o.kind, Kind::app);
    EXPECT_EQ(o.appID, "google-chrome");
}

TEST(CgroupAppRule, UnescapedDashesAfterTheLauncherStayInsideTheAppID) {
    EXPECT_EQ(owner("app-gnome-google-chrome-9876.scope").appID, "google-chrome");
}

TEST(CgroupAppRule, AnAppServiceWithARandomSuffixNamesTheApp) {
    EXPECT_EQ(owner("app-gnome-org.gnome.Evince@a1b2c3.service").appID, "org.gnome.Evince");
    EXPECT_EQ(owner("app-org.gnome.Evince@a1b2c3.service").appID, "org.gnome.Evince");
}

TEST(CgroupAppRule, AnAppServiceWithoutARandomSuffixEndsWithTheAppID) {
    EXPECT_EQ(owner("app-kde-org.kde.dolphin.service").appID, "org.kde.dolphin");
    EXPECT_EQ(owner("app-org.kde.dolphin.service").appID, "org.kde.dolphin");
}

TEST(CgroupAppRule, AFlatpakScopeNamesTheSandboxedApp) {
    auto o = owner("app-flatpak-org.mozilla.firefox-3127.scope");
    EXPECT_EQ(o.kind, Kind::app);
    EXPECT_EQ(o.appID, "org.mozilla.firefox");
    EXPECT_EQ(owner("flatpak-com.spotify.Client-51532.scope").appID, "com.spotify.Client");
}

TEST(CgroupAppRule, ASnapScopeNamesTheSnapAndItsDesktopFile) {
    auto o = owner("snap.firefox.firefox-2f4e8c3a-1b5d-4c6e-9a7f-0123456789ab.scope");
    EXPECT_EQ(o.kind, Kind::app);
    EXPECT_EQ(o.appID, "firefox_firefox");
    EXPECT_EQ(o.desktopFileID, "firefox_firefox");
    EXPECT_EQ(owner("snap.spotify.spotify.service").appID, "spotify_spotify");
}

TEST(CgroupAppRule, ASnapAppNameKeepsItsOwnDashes) {
    EXPECT_EQ(owner("snap.code.url-handler-2f4e8c3a-1b5d-4c6e-9a7f-0123456789ab.scope").appID, "code_url-handler");
    EXPECT_EQ(owner("snap.code.url-handler-4711.scope").appID, "code_url-handler");
}

TEST(CgroupAppRule, AShellOfAVteTerminalBelongsToTheTerminalsSlice) {
    auto o = owner("app-org.gnome.Terminal.slice/vte-spawn-94a2c6b1-7d1e-4a39-b2b4-1d1bd8a0a0c1.scope");
    EXPECT_EQ(o.kind, Kind::terminalSession);
    EXPECT_EQ(o.appID, "org.gnome.Terminal");
}

TEST(CgroupAppRule, TheTerminalServerItselfIsTheTerminalsApp) {
    auto o = owner("app-org.gnome.Terminal.slice/gnome-terminal-server.service");
    EXPECT_EQ(o.kind, Kind::app);
    EXPECT_EQ(o.appID, "org.gnome.Terminal");
}

TEST(CgroupAppRule, AShellScopeWithoutItsTerminalsSliceIsStillATerminalSession) {
    auto o = owner("vte-spawn-94a2c6b1-7d1e-4a39-b2b4-1d1bd8a0a0c1.scope");
    EXPECT_EQ(o.kind, Kind::terminalSession);
    EXPECT_EQ(o.appID, "");
}

TEST(CgroupAppRule, ASystemServiceIsNamedByItsUnit) {
    auto o = CgroupAppRule::ownerOf("/system.slice/ssh.service");
    EXPECT_EQ(o.kind, Kind::systemService);
    EXPECT_EQ(o.unit, "ssh");
    EXPECT_EQ(CgroupAppRule::ownerOf("/system.slice/system-getty.slice/getty@tty1.service").unit, "getty@tty1");
}

TEST(CgroupAppRule, ASnapDaemonInSystemSliceIsTheSystems) {
    auto o = CgroupAppRule::ownerOf("/system.slice/snap.lxd.daemon.service");
    EXPECT_EQ(o.kind, Kind::systemService);
    EXPECT_EQ(o.unit, "snap.lxd.daemon");
}

TEST(CgroupAppRule, SystemdItselfIsASystemService) {
    auto o = CgroupAppRule::ownerOf("/init.scope");
    EXPECT_EQ(o.kind, Kind::systemService);
    EXPECT_EQ(o.unit, "init");
}

TEST(CgroupAppRule, SessionsRootAndContainersNameNoOwner) {
    EXPECT_EQ(CgroupAppRule::ownerOf("/user.slice/user-1000.slice/session-2.scope").kind, Kind::none);
    EXPECT_EQ(CgroupAppRule::ownerOf("/").kind, Kind::none);
    EXPECT_EQ(CgroupAppRule::ownerOf("").kind, Kind::none);
    EXPECT_EQ(CgroupAppRule::ownerOf("/docker/0123abcd").kind, Kind::none);
    EXPECT_EQ(owner("app.slice").kind, Kind::none);
    EXPECT_EQ(owner("app-.scope").kind, Kind::none);
    EXPECT_EQ(owner("snap..scope").kind, Kind::none);
}

TEST(CgroupAppRule, DesktopEntryNameIsTheUnlocalisedNameOfItsGroup) {
    auto entry = CgroupAppRule::DesktopEntry::decode(
        "# comment\n[Desktop Entry]\nType=Application\nName[de]=Rechner\nName = Calculator\n"
        "Categories=GNOME;GTK;Utility;\n\n[Desktop Action new]\nName=New Window\n");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->name, "Calculator");
    EXPECT_FALSE(entry->isTerminalEmulator);
}

TEST(CgroupAppRule, DesktopEntryCategoriesMarkTerminalEmulators) {
    auto entry = CgroupAppRule::DesktopEntry::decode(
        "[Desktop Entry]\r\nName=Console\r\nCategories=GNOME;GTK;System;TerminalEmulator;\r\n");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->name, "Console");
    EXPECT_TRUE(entry->isTerminalEmulator);
}

TEST(CgroupAppRule, DesktopEntryValuesLoseTheirEscapes) {
    auto entry = CgroupAppRule::DesktopEntry::decode("[Desktop Entry]\nName=A\\sB\\\\C\n");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->name, "A B\\C");
}

TEST(CgroupAppRule, DesktopEntryWithoutANameIsAbsent) {
    EXPECT_EQ(CgroupAppRule::DesktopEntry::decode("[Desktop Entry]\nExec=foo\n"), std::nullopt);
    EXPECT_EQ(CgroupAppRule::DesktopEntry::decode("[Other Group]\nName=Foo\n"), std::nullopt);
    EXPECT_EQ(CgroupAppRule::DesktopEntry::decode("Name=Outside any group\n"), std::nullopt);
    EXPECT_EQ(CgroupAppRule::DesktopEntry::decode(""), std::nullopt);
    EXPECT_EQ(CgroupAppRule::DesktopEntry::decode(std::string("\0\xff[", 3)), std::nullopt);
}

TEST(CgroupAppRule, KnownTerminalsAreRecognisedByAppID) {
    EXPECT_TRUE(CgroupAppRule::isKnownTerminal("org.gnome.Terminal"));
    EXPECT_TRUE(CgroupAppRule::isKnownTerminal("kitty"));
    EXPECT_FALSE(CgroupAppRule::isKnownTerminal("org.mozilla.firefox"));
}

TEST(CgroupAppRule, FallbackNamesComeFromTheID) {
    EXPECT_EQ(CgroupAppRule::fallbackName("org.gnome.Calculator"), "Calculator");
    EXPECT_EQ(CgroupAppRule::fallbackName("spotify_spotify"), "spotify");
    EXPECT_EQ(CgroupAppRule::fallbackName("firefox"), "firefox");
    EXPECT_EQ(CgroupAppRule::fallbackName("firefox.desktop"), "firefox.desktop");
}

}  // namespace
}  // namespace orv
