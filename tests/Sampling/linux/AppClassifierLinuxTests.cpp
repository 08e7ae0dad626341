// The Linux app rule on fixture trees: cgroup files under proc/ and desktop
// entries in the four applications folders, below a temporary root.
#include <gtest/gtest.h>

#include "Sampling/AppClassifier.h"
#include "Sampling/CgroupAppClassifier.h"
#include "support/TempDir.h"

namespace orv {
namespace {

const std::string userApps = "0::/user.slice/user-1000.slice/user@1000.service/app.slice/";

ProcessReading reading(int32_t pid, std::string name, int32_t parent = 1) {
    ProcessReading r;
    r.pid = pid;
    r.parentPID = parent;
    r.name = std::move(name);
    r.startTime = Date{100};
    return r;
}

class AppClassifierLinux : public ::testing::Test {
protected:
    test::TempDir root;

    AppIdentity identify(const ProcessReading& r) {
        auto classifier = makeAppClassifier(root.path());
        return classifier->identify({r})[r.pid];
    }
};

TEST_F(AppClassifierLinux, AnAppScopeTakesTheNameOfItsSystemDesktopEntry) {
    root.write("proc/100/cgroup", userApps + "app-gnome-org.gnome.TextEditor-2211.scope\n");
    root.write("usr/share/applications/org.gnome.TextEditor.desktop", "[Desktop Entry]\nName=Text Editor\n");
    auto identity = identify(reading(100, "gnome-text-edit"));
    EXPECT_EQ(identity.id, "org.gnome.TextEditor");
    EXPECT_EQ(identity.name, "Text Editor");
    EXPECT_EQ(identity.kind, AppIdentity::Kind::app);
}

TEST_F(AppClassifierLinux, TheLocalApplicationsFolderIsSearched) {
    root.write("proc/101/cgroup", userApps + "app-tool-1.scope\n");
    root.write("usr/local/share/applications/tool.desktop", "[Desktop Entry]\nName=Local Tool\n");
    EXPECT_EQ(identify(reading(101, "tool")).name, "Local Tool");
}

TEST_F(AppClassifierLinux, AFlatpakTakesTheNameOfItsExportedEntry) {
    root.write("proc/200/cgroup", userApps + "app-flatpak-org.mozilla.firefox-3127.scope\n");
    root.write("var/lib/flatpak/exports/share/applications/org.mozilla.firefox.desktop",
               "[Desktop Entry]\nName=Firefox\nCategories=Network;WebBrowser;\n");
    auto identity = identify(reading(200, "firefox"));
    EXPECT_EQ(identity.id, "org.mozilla.firefox");
    EXPECT_EQ(identity.name, "Firefox");
}

TEST_F(AppClassifierLinux, ASnapTakesTheNameOfSnapdsEntry) {
    root.write("proc/300/cgroup", userApps + "snap.firefox.firefox-2f4e8c3a.scope\n");
    root.write("var/lib/snapd/desktop/applications/firefox_firefox.desktop", "[Desktop Entry]\nName=Firefox (snap)\n");
    auto identity = identify(reading(300, "firefox"));
    EXPECT_EQ(identity.id, "firefox_firefox");
    EXPECT_EQ(identity.name, "Firefox (snap)");
}

TEST_F(AppClassifierLinux, AGnomeTerminalShellIsTerminal) {
    root.write("proc/400/cgroup",
               userApps + "app-org.gnome.Terminal.slice/vte-spawn-94a2c6b1-7d1e-4a39-b2b4-1d1bd8a0a0c1.scope\n");
    root.write("usr/share/applications/org.gnome.Terminal.desktop",
               "[Desktop Entry]\nName=Terminal\nCategories=GNOME;GTK;System;TerminalEmulator;\n");
    auto identity = identify(reading(400, "bash"));
    EXPECT_EQ(identity.id, "org.gnome.Terminal");
    EXPECT_EQ(identity.kind, AppIdentity::Kind::terminal);
}

TEST_F(AppClassifierLinux, ASystemServiceIsTheSystems) {
    root.write("proc/500/cgroup", "0::/system.slice/cron.service\n");
    auto identity = identify(reading(500, "cron"));
    EXPECT_EQ(identity.id, "system:cron");
    EXPECT_EQ(identity.kind, AppIdentity::Kind::system);
}

TEST_F(AppClassifierLinux, AProcessWithoutACgroupFileIsOther) {
    root.mkdir("proc");
    EXPECT_EQ(identify(reading(600, "ghost")), AppIdentity::other("ghost"));
}

TEST_F(AppClassifierLinux, AMissingProcFolderMakesEveryoneOther) {
    EXPECT_EQ(identify(reading(600, "ghost")), AppIdentity::other("ghost"));
}

TEST_F(AppClassifierLinux, ADesktopIDWithASlashIsNeverAPath) {
    auto port = makeCgroupFilesPort(root.path());
    root.write("usr/share/applications/x.desktop", "[Desktop Entry]\nName=X\n");
    EXPECT_EQ(port->desktopEntry("../applications/x"), std::nullopt);
    EXPECT_TRUE(port->desktopEntry("x").has_value());
    EXPECT_EQ(port->desktopEntry(""), std::nullopt);
}

}  // namespace
}  // namespace orv
