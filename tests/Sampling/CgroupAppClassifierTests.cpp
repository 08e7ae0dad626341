#include <gtest/gtest.h>

#include <map>

#include "Sampling/CgroupAppClassifier.h"

namespace orv {
namespace {

// Cgroup files by pid and desktop entries by ID, counting every read.
struct FakeCgroupFiles {
    std::map<int32_t, std::string> cgroups;
    std::map<std::string, std::string> desktopEntries;
    std::map<int32_t, int> cgroupReads;
    std::map<std::string, int> desktopReads;
};

class FakeCgroupFilesPort final : public CgroupFilesPort {
public:
    explicit FakeCgroupFilesPort(FakeCgroupFiles& files) : files_(files) {}
    std::optional<std::string> cgroupFile(int32_t pid) override {
        ++files_.cgroupReads[pid];
        auto found = files_.cgroups.find(pid);
        return found == files_.cgroups.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<std::string> desktopEntry(std::string_view id) override {
        ++files_.desktopReads[std::string(id)];
        auto found = files_.desktopEntries.find(std::string(id));
        return found == files_.desktopEntries.end() ? std::nullopt : std::optional(found->second);
    }

private:
    FakeCgroupFiles& files_;
};

ProcessReading reading(int32_t pid, std::string name, int32_t parent = 1, double start = 1000) {
    ProcessReading r;
    r.pid = pid;
    r.parentPID = parent;
    r.name = std::move(name);
    r.startTime = Date{start};
    return r;
}

std::string unified(const std::string& path) { return "1:cpu:/\n0::" + path + "\n"; }
const std::string apps = "/user.slice/user-1000.slice/user@1000.service/app.slice/";

class CgroupAppClassifierTest : public ::testing::Test {
protected:
    FakeCgroupFiles files;
    CgroupAppClassifier classifier{std::make_unique<FakeCgroupFilesPort>(files)};

    AppIdentity identify(const ProcessReading& r) {
        auto identities = classifier.identify({r});
        EXPECT_TRUE(identities.contains(r.pid));
        return identities[r.pid];
    }
};

TEST_F(CgroupAppClassifierTest, AnAppScopeIsTheAppNamedByItsDesktopEntry) {
    files.cgroups[100] = unified(apps + "app-gnome-org.gnome.Calculator-3121.scope");
    files.desktopEntries["org.gnome.Calculator"] = "[Desktop Entry]\nName=Calculator\n";
    EXPECT_EQ(identify(reading(100, "gnome-calculato")),
              (AppIdentity{"org.gnome.Calculator", "Calculator", std::nullopt, "org.gnome.Calculator",
                           AppIdentity::Kind::app}));
}

TEST_F(CgroupAppClassifierTest, AnAppWithoutADesktopEntryIsNamedFromItsID) {
    files.cgroups[100] = unified(apps + "app-gnome-org.example.Tool-1.scope");
    auto identity = identify(reading(100, "tool"));
    EXPECT_EQ(identity.id, "org.example.Tool");
    EXPECT_EQ(identity.name, "Tool");
    EXPECT_EQ(identity.kind, AppIdentity::Kind::app);
}

TEST_F(CgroupAppClassifierTest, AFlatpakIsItsAppWithTheExportedName) {
    files.cgroups[200] = unified(apps + "app-flatpak-org.mozilla.firefox-3127.scope");
    files.desktopEntries["org.mozilla.firefox"] = "[Desktop Entry]\nName=Firefox\n";
    auto identity = identify(reading(200, "firefox-bin"));
    EXPECT_EQ(identity.id, "org.mozilla.firefox");
    EXPECT_EQ(identity.iconKey, "org.mozilla.firefox");
    EXPECT_EQ(identity.name, "Firefox");
    EXPECT_EQ(identity.bundleID, std::nullopt);
}

TEST_F(CgroupAppClassifierTest, ASnapIsItsAppWithSnapdsDesktopName) {
    files.cgroups[300] = unified(apps + "snap.spotify.spotify-0b3f.scope");
    files.desktopEntries["spotify_spotify"] = "[Desktop Entry]\nName=Spotify\n";
    auto identity = identify(reading(300, "spotify"));
    EXPECT_EQ(identity.id, "spotify_spotify");
    EXPECT_EQ(identity.name, "Spotify");
    EXPECT_EQ(identity.kind, AppIdentity::Kind::app);
}

TEST_F(CgroupAppClassifierTest, ATerminalEmulatorsAppIsTerminal) {
    files.cgroups[400] = unified(apps + "app-gnome-org.gnome.Console-77.scope");
    files.desktopEntries["org.gnome.Console"] = "[Desktop Entry]\nName=Console\nCategories=System;TerminalEmulator;\n";
    EXPECT_EQ(identify(reading(400, "kgx")).kind, AppIdentity::Kind::terminal);
}

TEST_F(CgroupAppClassifierTest, AKnownTerminalWithoutADesktopEntryIsTerminal) {
    files.cgroups[401] = unified(apps + "app-kitty-12.scope");
    EXPECT_EQ(identify(reading(401, "kitty")).kind, AppIdentity::Kind::terminal);
}

TEST_F(CgroupAppClassifierTest, AShellInAVteSpawnScopeIsTheTerminals) {
    files.cgroups[500] = unified(apps + "app-org.gnome.Terminal.slice/vte-spawn-94a2c6b1.scope");
    files.desktopEntries["org.gnome.Terminal"] = "[Desktop Entry]\nName=Terminal\n";
    auto identity = identify(reading(500, "bash"));
    EXPECT_EQ(identity.id, "org.gnome.Terminal");
    EXPECT_EQ(identity.name, "Terminal");
    EXPECT_EQ(identity.kind, AppIdentity::Kind::terminal);
}

TEST_F(CgroupAppClassifierTest, AShellInAVteSpawnScopeOfAnUnknownTerminalIsTerminal) {
    files.cgroups[501] = unified(apps + "vte-spawn-94a2c6b1.scope");
    EXPECT_EQ(identify(reading(501, "zsh")).kind, AppIdentity::Kind::terminal);
}

TEST_F(CgroupAppClassifierTest, ASystemServiceIsTheSystems) {
    files.cgroups[600] = unified("/system.slice/ssh.service");
    EXPECT_EQ(identify(reading(600, "sshd")),
              (AppIdentity{"system:ssh", "ssh", std::nullopt, "system", AppIdentity::Kind::system}));
}

TEST_F(CgroupAppClassifierTest, KernelThreadsAreTheKernelsWithoutAnyRead) {
    EXPECT_EQ(identify(reading(2, "kthreadd", 0)), CgroupAppClassifier::kernel());
    EXPECT_EQ(identify(reading(35, "kworker/0:1", 2)), CgroupAppClassifier::kernel());
    EXPECT_EQ(identify(reading(35, "kworker/0:1", 2)).kind, AppIdentity::Kind::system);
    EXPECT_TRUE(files.cgroupReads.empty());
}

TEST_F(CgroupAppClassifierTest, EverythingElseIsOtherByExecutableName) {
    files.cgroups[700] = unified("/user.slice/user-1000.slice/session-2.scope");
    files.cgroups[701] = "1:cpu:/\n";  // no unified hierarchy
    files.cgroups[702] = std::string("garbage\n\0\xff", 10);
    EXPECT_EQ(identify(reading(700, "vim")), AppIdentity::other("vim"));
    EXPECT_EQ(identify(reading(701, "make")), AppIdentity::other("make"));
    EXPECT_EQ(identify(reading(702, "cc1")), AppIdentity::other("cc1"));
    EXPECT_EQ(identify(reading(703, "gone")), AppIdentity::other("gone"));  // unreadable cgroup file
}

TEST_F(CgroupAppClassifierTest, ASteadyPassReadsEachCgroupFileOncePerProcessLifetime) {
    files.cgroups[100] = unified(apps + "app-gnome-org.gnome.Calculator-3121.scope");
    files.cgroups[101] = unified(apps + "app-gnome-org.gnome.Calculator-3121.scope");
    std::vector<ProcessReading> pass{reading(100, "calc"), reading(101, "calc-helper")};
    for (int i = 0; i < 5; ++i) classifier.identify(pass);
    EXPECT_EQ(files.cgroupReads[100], 1);
    EXPECT_EQ(files.cgroupReads[101], 1);
    EXPECT_EQ(files.desktopReads["org.gnome.Calculator"], 1);
}

TEST_F(CgroupAppClassifierTest, AReusedPidIsReadAgain) {
    files.cgroups[100] = unified(apps + "app-gnome-org.gnome.Calculator-3121.scope");
    EXPECT_EQ(identify(reading(100, "calc", 1, 1000)).id, "org.gnome.Calculator");
    files.cgroups[100] = unified("/system.slice/cron.service");
    EXPECT_EQ(identify(reading(100, "cron", 1, 2000)).id, "system:cron");
    EXPECT_EQ(files.cgroupReads[100], 2);
}

TEST_F(CgroupAppClassifierTest, ProcessesThatLeftAreDroppedFromTheCache) {
    std::vector<ProcessReading> many;
    for (int32_t pid = 1000; pid < 1400; ++pid) many.push_back(reading(pid, "worker"));
    classifier.identify(many);
    EXPECT_EQ(classifier.cachedInstanceCount(), 400u);
    classifier.identify({reading(1, "init", 0)});
    EXPECT_EQ(classifier.cachedInstanceCount(), 1u);
}


TEST_F(CgroupAppClassifierTest, ProcessesOfOneIdentityShareIt) {
    files.cgroups[100] = unified(apps + "app-gnome-org.gnome.Calculator-3121.scope");
    files.cgroups[101] = unified(apps + "app-gnome-org.gnome.Calculator-3121.scope");
    std::vector<ProcessReading> pass{reading(100, "calc"), reading(101, "calc-helper"), reading(102, "worker"),
                                     reading(103, "worker"), reading(104, "make"), reading(35, "kworker/0:1", 2),
                                     reading(36, "kworker/1:0", 2)};
    auto identities = classifier.identify(pass);
    EXPECT_EQ(classifier.cachedInstanceCount(), 7u);
    EXPECT_EQ(classifier.sharedIdentityCount(), 4u);  // the app, two programs, the kernel
    EXPECT_EQ(identities[100].id, "org.gnome.Calculator");
    EXPECT_EQ(identities[101], identities[100]);
    EXPECT_EQ(identities[103], AppIdentity::other("worker"));
    EXPECT_EQ(identities[104], AppIdentity::other("make"));
    EXPECT_EQ(identities[36], CgroupAppClassifier::kernel());
}

TEST_F(CgroupAppClassifierTest, AnAppAndItsTerminalSessionStayApart) {
    // One app id, two kinds: the terminal's own process and a shell it runs.
    files.cgroups[500] = unified(apps + "app-gnome-org.example.Editor-1.scope");
    files.cgroups[501] = unified(apps + "app-org.example.Editor.slice/vte-spawn-94a2c6b1.scope");
    auto identities = classifier.identify({reading(500, "editor"), reading(501, "bash")});
    EXPECT_EQ(identities[500].id, "org.example.Editor");
    EXPECT_EQ(identities[501].id, "org.example.Editor");
    EXPECT_EQ(identities[500].kind, AppIdentity::Kind::app);
    EXPECT_EQ(identities[501].kind, AppIdentity::Kind::terminal);
    EXPECT_EQ(classifier.sharedIdentityCount(), 2u);
}

TEST_F(CgroupAppClassifierTest, SharedIdentitiesGoWithTheLastProcessHoldingThem) {
    std::vector<ProcessReading> many;
    for (int32_t pid = 1000; pid < 1400; ++pid) many.push_back(reading(pid, pid % 2 ? "odd" : "even"));
    classifier.identify(many);
    EXPECT_EQ(classifier.sharedIdentityCount(), 2u);
    auto identities = classifier.identify({reading(1, "init", 0), reading(1001, "odd")});
    EXPECT_EQ(classifier.cachedInstanceCount(), 2u);
    EXPECT_EQ(classifier.sharedIdentityCount(), 2u);  // "init" and "odd"
    EXPECT_EQ(identities[1001], AppIdentity::other("odd"));
    EXPECT_EQ(identities[1], AppIdentity::other("init"));
}

}  // namespace
}  // namespace orv
