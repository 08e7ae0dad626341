#include <gtest/gtest.h>

#include <map>

#include "Sampling/BundleAppClassifier.h"

namespace orv {
namespace {

struct FakeBundles {
    std::map<std::string, PropertyValue> plists;
    std::map<int32_t, int32_t> responsible;
    std::map<std::string, int> plistReads;
};

class FakeBundleFilesPort final : public BundleFilesPort {
public:
    explicit FakeBundleFilesPort(FakeBundles& bundles) : bundles_(bundles) {}
    std::optional<PropertyValue> infoPlist(std::string_view path) override {
        ++bundles_.plistReads[std::string(path)];
        auto found = bundles_.plists.find(std::string(path));
        return found == bundles_.plists.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<int32_t> responsiblePID(int32_t pid) override {
        auto found = bundles_.responsible.find(pid);
        return found == bundles_.responsible.end() ? std::nullopt : std::optional(found->second);
    }

private:
    FakeBundles& bundles_;
};

ProcessReading reading(int32_t pid, std::string name, std::optional<std::string> path, int32_t parent = 1,
                       uint32_t uid = 501) {
    ProcessReading r;
    r.pid = pid;
    r.parentPID = parent;
    r.uid = uid;
    r.name = std::move(name);
    r.executablePath = std::move(path);
    r.startTime = Date{5000};
    return r;
}

PropertyValue plist(const char* id, const char* name) {
    return PropertyValue(PropertyValue::Dictionary{{"CFBundleIdentifier", id}, {"CFBundleName", name}});
}

class BundleAppClassifierTest : public ::testing::Test {
protected:
    void SetUp() override {
        bundles.plists["/Applications/Safari.app"] = plist("com.apple.Safari", "Safari");
        bundles.plists["/System/Applications/Utilities/Terminal.app"] = plist("com.apple.Terminal", "Terminal");
        bundles.plists["/Applications/Visual Studio Code.app"] = plist("com.microsoft.VSCode", "Code");
    }

    FakeBundles bundles;
    BundleAppClassifier classifier{std::make_unique<FakeBundleFilesPort>(bundles)};
};

const char* safari = "/Applications/Safari.app/Contents/MacOS/Safari";
const char* terminal = "/System/Applications/Utilities/Terminal.app/Contents/MacOS/Terminal";
const char* code = "/Applications/Visual Studio Code.app/Contents/MacOS/Electron";

TEST_F(BundleAppClassifierTest, AnAppIsItsBundleIdentifier) {
    auto ids = classifier.identify({reading(10, "Safari", safari)});
    EXPECT_EQ(ids[10], (AppIdentity{"com.apple.Safari", "Safari", "com.apple.Safari", "com.apple.Safari",
                                    AppIdentity::Kind::app}));
}

TEST_F(BundleAppClassifierTest, AProcessWithoutABundleBelongsToItsResponsibleProcessesApp) {
    bundles.responsible[11] = 10;
    auto ids = classifier.identify({reading(10, "Electron", code), reading(11, "node", "/usr/local/bin/node", 10)});
    EXPECT_EQ(ids[11].id, "com.microsoft.VSCode");
    EXPECT_EQ(ids[11].kind, AppIdentity::Kind::app);
}

TEST_F(BundleAppClassifierTest, WithoutAResponsibleProcessTheNearestAncestorWithABundleOwnsIt) {
    auto ids = classifier.identify({reading(10, "Electron", code), reading(11, "zsh", "/bin/zsh", 10),
                                    reading(12, "node", "/usr/local/bin/node", 11)});
    EXPECT_EQ(ids[12].id, "com.microsoft.VSCode");
}

TEST_F(BundleAppClassifierTest, TheResponsibleAnswerStandsOverTheParentWalk) {
    bundles.responsible[12] = 12;  // responsible for itself
    auto ids = classifier.identify({reading(10, "Electron", code), reading(12, "node", "/usr/local/bin/node", 10)});
    EXPECT_EQ(ids[12], AppIdentity::other("node"));
}

TEST_F(BundleAppClassifierTest, ShellsUnderATerminalAreTerminal) {
    auto ids = classifier.identify({reading(20, "Terminal", terminal), reading(21, "login", "/usr/bin/login", 20),
                                    reading(22, "zsh", "/bin/zsh", 21)});
    EXPECT_EQ(ids[20].kind, AppIdentity::Kind::terminal);
    EXPECT_EQ(ids[22].id, "com.apple.Terminal");
    EXPECT_EQ(ids[22].kind, AppIdentity::Kind::terminal);
}

TEST_F(BundleAppClassifierTest, TheParentWalkStopsAtLaunchd) {
    auto ids = classifier.identify({reading(1, "launchd", "/sbin/launchd", 0, 0),
                                    reading(30, "mdworker", "/usr/bin/mdworker", 1)});
    EXPECT_EQ(ids[30], AppIdentity::other("mdworker"));
}

TEST_F(BundleAppClassifierTest, ACycleOfParentsEnds) {
    auto ids = classifier.identify({reading(40, "a", "/usr/bin/a", 41), reading(41, "b", "/usr/bin/b", 40)});
    EXPECT_EQ(ids[40], AppIdentity::other("a"));
    EXPECT_EQ(ids[41], AppIdentity::other("b"));
}

TEST_F(BundleAppClassifierTest, RootsProcessesWithoutABundleAreTheSystems) {
    auto ids = classifier.identify({reading(50, "kernel_task", std::nullopt, 0, 0),
                                    reading(51, "cfprefsd", "/usr/sbin/cfprefsd", 1, 501),
                                    reading(52, "trustd", "/usr/libexec/trustd", 1, 501),
                                    reading(53, "WindowServer", "/System/Library/PrivateFrameworks/SkyLight."
                                                                "framework/Resources/WindowServer", 1, 88)});
    for (int32_t pid : {50, 51, 52, 53}) EXPECT_EQ(ids[pid].kind, AppIdentity::Kind::system) << pid;
    EXPECT_EQ(ids[50].id, "system:kernel_task");
    EXPECT_EQ(ids[50].iconKey, "system");
}

TEST_F(BundleAppClassifierTest, ABundleOutranksTheSystemRule) {
    bundles.plists["/System/Library/CoreServices/Finder.app"] = plist("com.apple.finder", "Finder");
    auto ids = classifier.identify(
        {reading(60, "Finder", "/System/Library/CoreServices/Finder.app/Contents/MacOS/Finder", 1, 0)});
    EXPECT_EQ(ids[60].id, "com.apple.finder");
    EXPECT_EQ(ids[60].kind, AppIdentity::Kind::app);
}

TEST_F(BundleAppClassifierTest, AUserProcessWithoutABundleIsOtherByName) {
    auto ids = classifier.identify({reading(70, "python3", "/opt/homebrew/bin/python3", 1)});
    EXPECT_EQ(ids[70], AppIdentity::other("python3"));
}

TEST_F(BundleAppClassifierTest, ABundleWithoutAnIdentifierIsKeyedByItsPath) {
    auto ids = classifier.identify({reading(80, "Tool", "/Users/a/Tool.app/Contents/MacOS/Tool")});
    EXPECT_EQ(ids[80].id, "/Users/a/Tool.app");
    EXPECT_EQ(ids[80].name, "Tool");
    EXPECT_EQ(ids[80].bundleID, std::nullopt);
}

TEST_F(BundleAppClassifierTest, EachInfoPlistIsReadOnceAndEachInstanceClassifiedOnce) {
    std::vector<ProcessReading> pass{reading(10, "Safari", safari), reading(11, "Safari", safari)};
    for (int i = 0; i < 4; ++i) classifier.identify(pass);
    EXPECT_EQ(bundles.plistReads["/Applications/Safari.app"], 1);
    EXPECT_EQ(classifier.cachedInstanceCount(), 2u);
    EXPECT_EQ(classifier.cachedBundleCount(), 1u);
}

}  // namespace
}  // namespace orv
