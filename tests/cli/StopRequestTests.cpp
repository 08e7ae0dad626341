#include <gtest/gtest.h>

#include "cli/DevServersView.h"
#include "cli/StopRequest.h"
#include "cli/TerminationView.h"

namespace orv::cli {
namespace {

using Kind = StopRequest::Kind;

TEST(StopRequest, ReadsEveryFormOfTarget) {
    EXPECT_EQ(StopRequest::parse("4242"), (StopRequest{Kind::process, 4242, {}}));
    EXPECT_EQ(StopRequest::parse("group:4240"), (StopRequest{Kind::processGroup, 4240, {}}));
    EXPECT_EQ(StopRequest::parse("/home/u/shop/"), (StopRequest{Kind::project, 0, "/home/u/shop"}));
    EXPECT_EQ(StopRequest::parse("container:c0ffee"), (StopRequest{Kind::container, 0, "c0ffee"}));
    EXPECT_EQ(StopRequest::parse("app:org.gnome.Terminal"), (StopRequest{Kind::app, 0, "app:org.gnome.Terminal"}));
    EXPECT_EQ(StopRequest::parse("other:python3"), (StopRequest{Kind::app, 0, "other:python3"}));
}

TEST(StopRequest, RefusesWhatIsNoTarget) {
    EXPECT_EQ(StopRequest::parse(""), std::nullopt);
    EXPECT_EQ(StopRequest::parse("0"), std::nullopt);
    EXPECT_EQ(StopRequest::parse("99999999999"), std::nullopt);
    EXPECT_EQ(StopRequest::parse("group:"), std::nullopt);
    EXPECT_EQ(StopRequest::parse("group:-3"), std::nullopt);
    EXPECT_EQ(StopRequest::parse("container:"), std::nullopt);
}

TEST(DevServersView, StopArgumentsAreWhatStopTakes) {
    EXPECT_EQ(stopArgument(termination::Process{12}), "12");
    EXPECT_EQ(stopArgument(termination::ProcessGroup{40}), "group:40");
    EXPECT_EQ(stopArgument(termination::App{"app:x", {1}}), "app:x");
    EXPECT_EQ(stopArgument(termination::Container{"c0", "web"}), "container:c0");
    for (const auto& target : {TerminationTarget{termination::Process{12}}, TerminationTarget{termination::ProcessGroup{40}}}) {
        EXPECT_TRUE(StopRequest::parse(stopArgument(target)));
    }
}

TEST(DevServersView, ActivitiesAndPorts) {
    EXPECT_EQ(formatActivity(activity::Working{}), "working");
    EXPECT_EQ(formatActivity(activity::Idle{12}), "idle 12 min");
    EXPECT_EQ(formatActivity(activity::Idle{0}), "idle");
    EXPECT_EQ(formatActivity(activity::BarelyUsed{}), "barely used");
    EXPECT_EQ(formatPorts({3000, 5173}), "3000, 5173");
    EXPECT_EQ(formatPorts({}), "-");
    EXPECT_EQ(formatDevServers({}, Date{0}), "No development servers are listening.\n");
}

TEST(DevServersView, AProjectShowsItsServersAndHowToStopThem) {
    DevServer s;
    s.pid = 4242;
    s.name = "vite";
    s.command = "node /home/u/shop/node_modules/.bin/vite";
    s.runtime = DevRuntime::node;
    s.ports = {5173};
    s.memoryBytes = 50 << 20;
    s.startedAt = Date{1000};
    s.activity = activity::Working{};
    s.stopTarget = termination::ProcessGroup{4240};
    auto text = formatDevServers({Project{"/home/u/shop", "shop", {s}}}, Date{1000 + 3600 + 120});
    EXPECT_NE(text.find("shop  /home/u/shop  node  ports 5173"), std::string::npos) << text;
    EXPECT_NE(text.find("up 1:02"), std::string::npos) << text;
    EXPECT_NE(text.find("stop group:4240"), std::string::npos) << text;
    EXPECT_NE(text.find("node /home/u/shop/node_modules/.bin/vite"), std::string::npos) << text;
}

TEST(TerminationView, OneLineSaysWhatEndedWhatRunsAndWhy) {
    TerminationReport report;
    EXPECT_EQ(summarizeTermination(report), "Nothing was stopped");
    report.result = TerminationResult{{12, 13}, {14}};
    report.refusals.push_back({14, "Cannot signal pid 14: permission denied"});
    EXPECT_EQ(summarizeTermination(report),
              "Terminated: 12, 13; still running: 14; Cannot signal pid 14: permission denied");
    TerminationReport container;
    container.containerMessage = "No such container: web";
    EXPECT_EQ(summarizeTermination(container), "No such container: web");
}

}  // namespace
}  // namespace orv::cli
