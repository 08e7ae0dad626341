// `orvantine snapshot`, run as the user runs it: JSON lines that decode back
// into records, and a process that burns a core leading its app and the
// process list.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>

#include "core/JsonCoding.h"
#include "support/CommandRunner.h"
#include "core/Snapshot.h"

namespace orv {
namespace {

using test::runOrvantine;


std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

class SnapshotCommand : public test::OrvantineCommandTest {};

TEST_F(SnapshotCommand, ThreeJsonLinesDecodeAsSnapshots) {
    auto result = runOrvantine("snapshot --json --count 3 --interval 0.3");
    ASSERT_EQ(result.status, 0) << result.out.substr(0, 500);
    auto all = lines(result.out);
    ASSERT_EQ(all.size(), 3u);
    Date previous;
    for (const auto& line : all) {
        Snapshot snapshot;
        ASSERT_NO_THROW(snapshot = json::decode<Snapshot>(line)) << line.substr(0, 300);
        EXPECT_NEAR(snapshot.interval.toSeconds(), 0.3, 0.25);
        EXPECT_GT(snapshot.at, previous);
        previous = snapshot.at;
        EXPECT_FALSE(snapshot.processes.empty());
        EXPECT_GT(snapshot.system.uptime, Duration::zero());
        EXPECT_GT(snapshot.system.memory.totalBytes, 0u);
        int64_t counted = 0;
        for (const auto& app : snapshot.apps) counted += app.processCount;
        EXPECT_EQ(counted, int64_t(snapshot.processes.size()));
        EXPECT_TRUE(std::is_sorted(snapshot.processes.begin(), snapshot.processes.end(),
                                   [](const auto& a, const auto& b) { return a.cpuPercent > b.cpuPercent; }));
        EXPECT_TRUE(std::is_sorted(snapshot.apps.begin(), snapshot.apps.end(),
                                   [](const auto& a, const auto& b) { return a.cpuPercent > b.cpuPercent; }));
        // Linux bills no energy to processes: their power is unknown, not zero.
        for (const auto& p : snapshot.processes) EXPECT_EQ(p.energyMW, std::nullopt) << p.name;
        for (const auto& a : snapshot.apps) EXPECT_EQ(a.energyMW, std::nullopt) << a.app.id;
    }
}

TEST_F(SnapshotCommand, AProcessThatBurnsACoreLeadsItsAppAndTheProcessList) {
    auto burned = test::runWhileBurningACore("snapshot --json --count 2 --interval 0.5", "orvburner");
    ASSERT_GE(burned.burner, 0);
    const pid_t burner = burned.burner;
    const double coresReceived = burned.coresReceived;
    const auto& result = burned.result;

    ASSERT_EQ(result.status, 0);
    auto all = lines(result.out);
    ASSERT_EQ(all.size(), 2u);
    auto snapshot = json::decode<Snapshot>(all.back());
    auto found = std::find_if(snapshot.processes.begin(), snapshot.processes.end(),
                              [&](const auto& p) { return p.pid == burner; });
    ASSERT_NE(found, snapshot.processes.end()) << "the burner is missing";
    EXPECT_EQ(found->name, "orvburner");
    EXPECT_EQ(found->app, "other:orvburner");
    if (coresReceived < 0.9) {
        GTEST_SKIP() << "this machine is too busy to give the burner a whole core (it got " << coresReceived << ")";
    }
    int cores = int(std::thread::hardware_concurrency());
    EXPECT_EQ(snapshot.processes.front().pid, burner) << "the busiest is " << snapshot.processes.front().name;
    EXPECT_NEAR(found->cpuPercent, 100.0 / cores, 25.0 / cores);
    auto app = std::find_if(snapshot.apps.begin(), snapshot.apps.end(),
                            [](const auto& a) { return a.app == AppIdentity::other("orvburner"); });
    ASSERT_NE(app, snapshot.apps.end());
    EXPECT_EQ(app->processCount, 1);
    EXPECT_DOUBLE_EQ(app->cpuPercent, found->cpuPercent);
    // Only the sum of several busy processes (a parallel build beside the
    // test) may rank above it; no single process does.
    for (auto ahead = snapshot.apps.begin(); ahead != app; ++ahead) {
        EXPECT_GT(ahead->processCount, 1) << ahead->app.id << " outranks the burner alone";
        EXPECT_GE(ahead->cpuPercent, app->cpuPercent);
    }
}

TEST_F(SnapshotCommand, TopCutsTheJsonLists) {
    auto result = runOrvantine("snapshot --json --top 2 --interval 0.1");
    ASSERT_EQ(result.status, 0);
    auto snapshot = json::decode<Snapshot>(result.out);
    EXPECT_LE(snapshot.apps.size(), 2u);
    EXPECT_EQ(snapshot.processes.size(), 2u);
}

TEST_F(SnapshotCommand, TheSummaryShowsSystemAppsAndProcesses) {
    auto result = runOrvantine("snapshot --interval 0.1 --top 3");
    ASSERT_EQ(result.status, 0) << result.out;
    for (const char* part : {"Snapshot ", "CPU ", "Memory ", "Disk ", "Network ", "Thermal ", "Apps (", "Processes ("}) {
        EXPECT_NE(result.out.find(part), std::string::npos) << part << " missing from:\n" << result.out;
    }
    auto processesAt = result.out.find("Processes (3 of ");
    ASSERT_NE(processesAt, std::string::npos);
    EXPECT_EQ(std::count(result.out.begin() + long(processesAt), result.out.end(), '\n'), 5);  // title, header, 3 rows
}

TEST_F(SnapshotCommand, BadOptionsAreRefused) {
    EXPECT_NE(runOrvantine("snapshot --interval 0").status, 0);
    EXPECT_NE(runOrvantine("snapshot --interval -1").status, 0);
    EXPECT_NE(runOrvantine("snapshot --count -2").status, 0);
    EXPECT_NE(runOrvantine("snapshot --top 0").status, 0);
}

TEST_F(SnapshotCommand, TopRefusesAPipe) {
    auto result = runOrvantine("top < /dev/null");
    EXPECT_NE(result.status, 0);
}

}  // namespace
}  // namespace orv
