#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <limits>

#include "core/DevRuntime.h"
#include "core/DevServer.h"
#include "core/JsonCoding.h"
#include "core/ListeningPort.h"
#include "core/Project.h"
#include "core/ProjectActivity.h"

namespace orv {
namespace {

boost::json::value parsed(const std::string& text) { return boost::json::parse(text); }

DevServer server(DevRuntime runtime, std::vector<uint16_t> ports = {}, ProjectActivity activity = activity::Working{}) {
    DevServer s;
    s.pid = 100;
    s.name = "node";
    s.command = "node server.js";
    s.runtime = runtime;
    s.ports = std::move(ports);
    s.memoryBytes = 1 << 20;
    s.startedAt = Date{700'000'000};
    s.cpuTime = Duration::milliseconds(1500);
    s.activity = activity;
    s.stopTarget = termination::ProcessGroup{100};
    return s;
}

Project projectOf(std::vector<DevServer> servers) { return Project{"/home/dev/shop", "shop", std::move(servers)}; }

void expectInvalidCaseCount(std::string_view text) {
    try {
        (void)json::decode<ProjectActivity>(text);
        FAIL() << text;
    } catch (const json::DecodingError& e) {
        EXPECT_EQ(e.description(), "Invalid number of keys found, expected one.") << text;
        EXPECT_EQ(e.kind(), json::DecodingError::Kind::typeMismatch);
    }
}

TEST(DevRuntime, RawValuesAreTheCaseNamesInOrder) {
    EXPECT_EQ(devRuntimeFromRawValue("node"), DevRuntime::node);
    EXPECT_EQ(devRuntimeFromRawValue("rust"), DevRuntime::rust);
    EXPECT_EQ(devRuntimeFromRawValue("other"), DevRuntime::other);
    EXPECT_EQ(rawValue(DevRuntime::deno), "deno");
    EXPECT_EQ(json::encode(DevRuntime::python), "\"python\"");
    EXPECT_LT(int(DevRuntime::node), int(DevRuntime::other));
}

TEST(DevRuntime, AnUnknownStringGivesNone) {
    EXPECT_EQ(devRuntimeFromRawValue("perl"), std::nullopt);
    EXPECT_EQ(devRuntimeFromRawValue("Node"), std::nullopt);
    EXPECT_EQ(devRuntimeFromRawValue(""), std::nullopt);
    EXPECT_THROW(json::decode<DevRuntime>("\"perl\""), json::DecodingError);
}

TEST(ProjectActivity, CasesAreOneKeyObjects) {
    EXPECT_EQ(parsed(json::encode(ProjectActivity{activity::Working{}})), parsed(R"({"working": {}})"));
    EXPECT_EQ(parsed(json::encode(ProjectActivity{activity::Idle{12}})), parsed(R"({"idle": {"minutes": 12}})"));
    EXPECT_EQ(parsed(json::encode(ProjectActivity{activity::BarelyUsed{}})), parsed(R"({"barelyUsed": {}})"));
    EXPECT_EQ(json::decode<ProjectActivity>(R"({"idle": {"minutes": 12}})"), ProjectActivity{activity::Idle{12}});
    EXPECT_EQ(json::decode<ProjectActivity>(R"({"working": {}})"), ProjectActivity{activity::Working{}});
}

TEST(ProjectActivity, NoKnownCaseOrMoreThanOneFails) {
    expectInvalidCaseCount("{}");
    expectInvalidCaseCount(R"({"sleeping": {}})");
    expectInvalidCaseCount(R"({"working": {}, "barelyUsed": {}})");
}

TEST(ListeningPort, CodesUnderItsFieldNamesWithTheTransportAsABareString) {
    ListeningPort port{4242, 3000, ListeningPort::Transport::tcp6, "::1", "/home/dev/shop"};
    EXPECT_EQ(parsed(json::encode(port)),
              parsed(R"({"pid": 4242, "port": 3000, "transport": "tcp6", "address": "::1",
                         "workingDirectory": "/home/dev/shop"})"));
    EXPECT_EQ(json::decode<ListeningPort>(json::encode(port)), port);
}

TEST(ListeningPort, AnUnknownWorkingDirectoryIsLeftOut) {
    ListeningPort port{1, 80, ListeningPort::Transport::tcp4, "0.0.0.0", std::nullopt};
    EXPECT_EQ(parsed(json::encode(port)), parsed(R"({"pid": 1, "port": 80, "transport": "tcp4", "address": "0.0.0.0"})"));
    EXPECT_EQ(json::decode<ListeningPort>(R"({"pid": 1, "port": 80, "transport": "tcp4", "address": "0.0.0.0",
                                              "workingDirectory": null})"),
              port);
    EXPECT_THROW(json::decode<ListeningPort>(R"({"pid": 1, "port": 70000, "transport": "tcp4", "address": ""})"),
                 json::DecodingError);
    EXPECT_THROW(json::decode<ListeningPort>(R"({"pid": 1, "port": 80, "transport": "udp", "address": ""})"),
                 json::DecodingError);
}

TEST(DevServer, RoundTripsAndIsIdentifiedByItsPid) {
    auto s = server(DevRuntime::node, {3000, 3001}, activity::Idle{5});
    auto text = json::encode(s);
    auto v = parsed(text);
    EXPECT_EQ(v.at("runtime"), "node");
    EXPECT_EQ(v.at("activity"), parsed(R"({"idle": {"minutes": 5}})"));
    EXPECT_EQ(v.at("stopTarget"), parsed(R"({"processGroup": {"_0": 100}})"));
    EXPECT_EQ(v.at("cpuTime"), parsed("[0, 1500000000000000000]"));
    EXPECT_EQ(v.as_object().size(), 10u);
    EXPECT_EQ(json::decode<DevServer>(text), s);
    EXPECT_EQ(s.id(), 100);
    auto t = s;
    EXPECT_EQ(std::hash<DevServer>{}(s), std::hash<DevServer>{}(t));
    t.activity = activity::Idle{6};
    EXPECT_NE(s, t);
}

TEST(Project, DerivedPropertiesAreNotWritten) {
    auto p = projectOf({server(DevRuntime::node, {3000})});
    auto v = parsed(json::encode(p));
    EXPECT_EQ(v.as_object().size(), 3u);
    EXPECT_EQ(json::decode<Project>(json::encode(p)), p);
}

TEST(Project, EqualRuntimeCountsGoToTheOneMetFirst) {
    auto p = projectOf({server(DevRuntime::node), server(DevRuntime::python), server(DevRuntime::python),
                        server(DevRuntime::node)});
    EXPECT_EQ(p.runtime(), DevRuntime::node);
}

TEST(Project, ALaterRuntimeWinsOnlyWithAStrictlyGreaterCount) {
    EXPECT_EQ(projectOf({server(DevRuntime::go), server(DevRuntime::rust), server(DevRuntime::rust)}).runtime(),
              DevRuntime::rust);
    EXPECT_EQ(projectOf({server(DevRuntime::java)}).runtime(), DevRuntime::java);
}

TEST(Project, PortsAreTheSortedUnionOfItsServersPorts) {
    auto p = projectOf({server(DevRuntime::node, {3000, 8080}), server(DevRuntime::node, {8080, 5173})});
    EXPECT_EQ(p.ports(), (std::vector<uint16_t>{3000, 5173, 8080}));
}

TEST(Project, ActivityIsTheMostRecentOfItsServers) {
    using namespace activity;
    EXPECT_EQ(projectOf({server(DevRuntime::node, {}, Idle{30}), server(DevRuntime::node, {}, BarelyUsed{}),
                         server(DevRuntime::node, {}, Idle{4})})
                  .activity(),
              ProjectActivity{Idle{4}});
    EXPECT_EQ(projectOf({server(DevRuntime::node, {}, Idle{30}), server(DevRuntime::node, {}, Working{}),
                         server(DevRuntime::node, {}, BarelyUsed{})})
                  .activity(),
              ProjectActivity{Working{}});
    EXPECT_EQ(projectOf({server(DevRuntime::node, {}, BarelyUsed{}), server(DevRuntime::node, {}, BarelyUsed{})})
                  .activity(),
              ProjectActivity{BarelyUsed{}});
}

TEST(Project, MemoryIsTheSumAndStartIsTheEarliest) {
    auto a = server(DevRuntime::node);
    auto b = server(DevRuntime::node);
    b.memoryBytes = 3;
    b.startedAt = Date{600'000'000};
    auto p = projectOf({a, b});
    EXPECT_EQ(p.memoryBytes(), (1u << 20) + 3);
    EXPECT_EQ(p.startedAt(), Date{600'000'000});
}

TEST(Project, AnEmptyProjectIsOtherWithNothingAndStartedInTheDistantPastWorking) {
    auto p = projectOf({});
    EXPECT_EQ(p.runtime(), DevRuntime::other);
    EXPECT_TRUE(p.ports().empty());
    EXPECT_EQ(p.memoryBytes(), 0u);
    EXPECT_EQ(p.startedAt(), distantPast);
    EXPECT_EQ(p.startedAt().secondsSinceReferenceDate, -63'114'076'800.0);
    EXPECT_EQ(p.activity(), ProjectActivity{activity::Working{}});
}

TEST(ProjectDeathTest, AnOverflowingMemorySumIsFatal) {
    auto a = server(DevRuntime::node);
    auto b = server(DevRuntime::node);
    a.memoryBytes = std::numeric_limits<uint64_t>::max();
    b.memoryBytes = 1;
    auto p = projectOf({a, b});
    EXPECT_DEATH((void)p.memoryBytes(), "overflow");
}

TEST(Project, TheLargestSumThatFitsIsNotAnOverflow) {
    auto a = server(DevRuntime::node);
    auto b = server(DevRuntime::node);
    a.memoryBytes = std::numeric_limits<uint64_t>::max() - 1;
    b.memoryBytes = 1;
    EXPECT_EQ(projectOf({a, b}).memoryBytes(), std::numeric_limits<uint64_t>::max());
}

}  // namespace
}  // namespace orv
