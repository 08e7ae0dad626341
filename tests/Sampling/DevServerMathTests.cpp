#include <gtest/gtest.h>

#include "Sampling/DevServerMath.h"

namespace orv {
namespace {

using Evidence = DevServerMath::RuntimeEvidence;
using Observation = DevServerMath::CPUObservation;

DevRuntime runtimeOf(std::optional<std::string> exe, std::vector<std::string> args = {}, bool go = false,
                     bool cargo = false) {
    return DevServerMath::recogniseRuntime(Evidence{std::move(exe), std::move(args), go, cargo});
}

TEST(DevServerMath, InterpretersAreKnownByTheirExecutablesName) {
    EXPECT_EQ(runtimeOf("/usr/bin/node"), DevRuntime::node);
    EXPECT_EQ(runtimeOf("/usr/bin/python3.11"), DevRuntime::python);
    EXPECT_EQ(runtimeOf("/usr/bin/python3"), DevRuntime::python);
    EXPECT_EQ(runtimeOf("/opt/py/bin/python"), DevRuntime::python);
    EXPECT_EQ(runtimeOf("/usr/bin/ruby3.1"), DevRuntime::ruby);
    EXPECT_EQ(runtimeOf("/usr/lib/jvm/java-17-openjdk-amd64/bin/java"), DevRuntime::java);
    EXPECT_EQ(runtimeOf("/home/u/.bun/bin/bun"), DevRuntime::bun);
    EXPECT_EQ(runtimeOf("/home/u/.deno/bin/deno"), DevRuntime::deno);
    EXPECT_EQ(runtimeOf("/usr/bin/nodemon"), DevRuntime::other);
    EXPECT_EQ(runtimeOf("/usr/bin/pythonista"), DevRuntime::other);
}

TEST(DevServerMath, ArgvNamesTheInterpreterWhenTheExecutableIsHidden) {
    EXPECT_EQ(runtimeOf(std::nullopt, {"node", "server.js"}), DevRuntime::node);
    EXPECT_EQ(runtimeOf(std::nullopt, {"/usr/bin/python3", "-m", "http.server"}), DevRuntime::python);
    EXPECT_EQ(runtimeOf(std::nullopt, {}), DevRuntime::other);
}

TEST(DevServerMath, NativeBinariesByGoNoteThenCargoFolder) {
    EXPECT_EQ(runtimeOf("/home/u/api/api", {"./api"}, true), DevRuntime::go);
    EXPECT_EQ(runtimeOf("/home/u/shop/target/debug/shop", {"target/debug/shop"}, false, true), DevRuntime::rust);
    EXPECT_EQ(runtimeOf("/usr/sbin/nginx", {"nginx"}), DevRuntime::other);
    // An interpreter's name wins over anything else.
    EXPECT_EQ(runtimeOf("/usr/bin/node", {}, true, true), DevRuntime::node);
}

TEST(DevServerMath, CargoProjectIsTheFolderAboveTheLastTarget) {
    EXPECT_EQ(DevServerMath::cargoProjectOf("/home/u/shop/target/release/shop"), "/home/u/shop");
    EXPECT_EQ(DevServerMath::cargoProjectOf("/srv/target/x/target/debug/x"), "/srv/target/x");
    EXPECT_EQ(DevServerMath::cargoProjectOf("/usr/bin/shop"), std::nullopt);
    EXPECT_EQ(DevServerMath::cargoProjectOf("/target/debug/x"), std::nullopt);
}

TEST(DevServerMath, AServerLeadingItsGroupIsStoppedWithItsGroup) {
    EXPECT_EQ(DevServerMath::stopTarget(500, 500, 400, std::vector<int32_t>{400, 1}, 900),
              TerminationTarget{termination::ProcessGroup{500}});
}

TEST(DevServerMath, AGroupLedByAnAncestorJobIsStoppedWhole) {
    // npm (450) leads the job; sh (470) and node (500) are its children.
    EXPECT_EQ(DevServerMath::stopTarget(500, 450, 400, std::vector<int32_t>{470, 450, 400, 1}, 900),
              TerminationTarget{termination::ProcessGroup{450}});
}

TEST(DevServerMath, TheShellsOwnGroupOrOursOrAStrangersIsNeverTargeted) {
    // A shell without job control: the group is the session's.
    EXPECT_EQ(DevServerMath::stopTarget(500, 400, 400, std::vector<int32_t>{400, 1}, 900),
              TerminationTarget{termination::Process{500}});
    // Started by the monitor itself, in its group.
    EXPECT_EQ(DevServerMath::stopTarget(500, 900, 800, std::vector<int32_t>{900}, 900),
              TerminationTarget{termination::Process{500}});
    // A group led by no ancestor (the leader exited, or another tree).
    EXPECT_EQ(DevServerMath::stopTarget(500, 777, 400, std::vector<int32_t>{400, 1}, 900),
              TerminationTarget{termination::Process{500}});
    EXPECT_EQ(DevServerMath::stopTarget(500, 1, 1, std::vector<int32_t>{1}, 900),
              TerminationTarget{termination::Process{500}});
    EXPECT_EQ(DevServerMath::stopTarget(500, 0, 0, {}, 900), TerminationTarget{termination::Process{500}});
}

TEST(DevServerMath, OnlyTheViewersOwnProcessesWithAProjectAreDeveloperServers) {
    EXPECT_TRUE(DevServerMath::isDeveloperServer(1000, 1000, true));
    EXPECT_FALSE(DevServerMath::isDeveloperServer(1000, 1000, false));  // cwd "/" or /var/lib/…
    EXPECT_FALSE(DevServerMath::isDeveloperServer(112, 1000, true));    // postgres
    EXPECT_FALSE(DevServerMath::isDeveloperServer(0, 1000, true));      // a root daemon
}

Observation at(double seconds, int64_t cpuMilliseconds) { return {Date{seconds}, Duration::milliseconds(cpuMilliseconds)}; }

TEST(DevServerMath, WorkIsOnePercentOfACoreOverTheLastMinute) {
    std::vector<Observation> busy{at(0, 5000), at(60, 5600)};
    EXPECT_TRUE(DevServerMath::workedInLastMinute(busy));
    std::vector<Observation> quiet{at(0, 5000), at(60, 5590)};
    EXPECT_FALSE(DevServerMath::workedInLastMinute(quiet));
    // Younger observations are scaled to a minute: 10 ms in one second.
    std::vector<Observation> brief{at(0, 5000), at(1, 5010)};
    EXPECT_TRUE(DevServerMath::workedInLastMinute(brief));
    // Only the last minute counts: old work does not.
    std::vector<Observation> old{at(0, 0), at(60, 9000), at(120, 9000), at(121, 9001)};
    EXPECT_FALSE(DevServerMath::workedInLastMinute(old));
    std::vector<Observation> one{at(0, 0)};
    EXPECT_FALSE(DevServerMath::workedInLastMinute(one));
    std::vector<Observation> backwards{at(0, 9000), at(1, 0)};
    EXPECT_FALSE(DevServerMath::workedInLastMinute(backwards));
}

TEST(DevServerMath, ActivityIsWorkingThenBarelyUsedThenIdleMinutes) {
    EXPECT_EQ(DevServerMath::activity(true, Duration::milliseconds(10), Date{1000}, Date{0}),
              ProjectActivity{activity::Working{}});
    EXPECT_EQ(DevServerMath::activity(false, Duration::milliseconds(999), Date{1000}, Date{0}),
              ProjectActivity{activity::BarelyUsed{}});
    EXPECT_EQ(DevServerMath::activity(false, Duration::seconds(5), Date{1000}, Date{279}),
              ProjectActivity{activity::Idle{12}});
    EXPECT_EQ(DevServerMath::activity(false, Duration::seconds(5), Date{1000}, Date{1000}),
              ProjectActivity{activity::Idle{0}});
}

Project projectWith(std::string name, ProjectActivity activity, int64_t cpuSeconds) {
    DevServer s;
    s.activity = activity;
    s.cpuTime = Duration::seconds(cpuSeconds);
    return Project{"/p/" + name, name, {s}};
}

TEST(DevServerMath, BusiestFirst) {
    std::vector<Project> projects{projectWith("a", activity::BarelyUsed{}, 0), projectWith("b", activity::Idle{30}, 9),
                                  projectWith("c", activity::Working{}, 1), projectWith("d", activity::Idle{3}, 1),
                                  projectWith("e", activity::Working{}, 50)};
    DevServerMath::sortBusiestFirst(projects);
    std::vector<std::string> names;
    for (const auto& p : projects) names.push_back(p.name);
    EXPECT_EQ(names, (std::vector<std::string>{"e", "c", "d", "b", "a"}));
}

}  // namespace
}  // namespace orv
