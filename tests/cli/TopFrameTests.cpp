// The pure parts of `orvantine top`: its orders and the layout of one frame.
#include <gtest/gtest.h>

#include <algorithm>

#include "cli/Format.h"
#include "cli/TopFrame.h"

namespace orv::cli {
namespace {

ProcessSample process(int32_t pid, std::string name, double cpu, uint64_t memory, double disk,
                      std::optional<double> impact) {
    ProcessSample p;
    p.pid = pid;
    p.app = "other:" + name;
    p.name = std::move(name);
    p.cpuPercent = cpu;
    p.footprintBytes = memory;
    p.diskReadBPS = disk;
    p.energyImpact = impact;
    return p;
}

AppAggregate app(std::string id, double cpu, uint64_t memory, double diskWrite, std::optional<double> impact) {
    AppAggregate a;
    a.app = AppIdentity{id, id, std::nullopt, id, AppIdentity::Kind::app};
    a.processCount = 1;
    a.cpuPercent = cpu;
    a.memoryBytes = memory;
    a.diskWriteBPS = diskWrite;
    a.energyImpact = impact;
    return a;
}

Snapshot sample() {
    Snapshot s;
    s.at = Date::fromUnixSeconds(1'700'000'000);
    s.interval = Duration::seconds(1);
    s.system.cpu.totalPercent = 42;
    s.system.memory.totalBytes = 8ull << 30;
    s.system.uptime = Duration::seconds(90'061);
    s.apps = {app("burner", 90, 1 << 20, 0, 5), app("browser", 20, 900 << 20, 10, 40), app("backup", 1, 2 << 20, 9000, std::nullopt)};
    s.processes = {process(10, "burner", 90, 1 << 20, 0, 5), process(11, "browser", 20, 900 << 20, 10, 40),
                   process(12, "backup", 1, 2 << 20, 9000, std::nullopt), process(13, "idle", 0, 0, 0, 0)};
    return s;
}

std::vector<int32_t> pids(std::vector<ProcessSample> processes, TopSort sort) {
    sortProcesses(processes, sort);
    std::vector<int32_t> order;
    for (const auto& p : processes) order.push_back(p.pid);
    return order;
}

TEST(TopFrame, KeysPickTheOrder) {
    EXPECT_EQ(sortForKey('c'), TopSort::cpu);
    EXPECT_EQ(sortForKey('M'), TopSort::memory);
    EXPECT_EQ(sortForKey('d'), TopSort::disk);
    EXPECT_EQ(sortForKey('e'), TopSort::energy);
    EXPECT_EQ(sortForKey('n'), TopSort::network);
    EXPECT_EQ(sortForKey('N'), TopSort::network);
    EXPECT_EQ(sortForKey('x'), std::nullopt);
    EXPECT_EQ(sortForKey('q'), std::nullopt);
}

TEST(TopFrame, ProcessesSortByEachFigureLargestFirst) {
    auto processes = sample().processes;
    EXPECT_EQ(pids(processes, TopSort::cpu), (std::vector<int32_t>{10, 11, 12, 13}));
    EXPECT_EQ(pids(processes, TopSort::memory), (std::vector<int32_t>{11, 12, 10, 13}));
    EXPECT_EQ(pids(processes, TopSort::disk), (std::vector<int32_t>{12, 11, 10, 13}));
    // An absent impact sorts below a measured zero.
    EXPECT_EQ(pids(processes, TopSort::energy), (std::vector<int32_t>{11, 10, 13, 12}));
}

TEST(TopFrame, NetworkSortsByInPlusOutWithUnaccountedProcessesLast) {
    auto processes = sample().processes;
    processes[0].netInBPS = 10;    // 10: 10 + 0
    processes[0].netOutBPS = 0;
    processes[1].netInBPS = 5;     // 11: 5 + 20
    processes[1].netOutBPS = 20;
    processes[2].netInBPS = 0;     // 12: silent but accounted
    processes[2].netOutBPS = 0;
    EXPECT_EQ(pids(processes, TopSort::network), (std::vector<int32_t>{11, 10, 12, 13}));
    auto apps = sample().apps;
    apps[2].netOutBPS = 1;
    sortApps(apps, TopSort::network);
    EXPECT_EQ(apps[0].app.id, "backup");
}

TEST(TopFrame, NetworkRatesShowPerAppAndProcessAndADashWithoutAccounting) {
    auto snapshot = sample();
    snapshot.processes[0].netInBPS = 2048;
    snapshot.processes[0].netOutBPS = 0;
    auto lines = topFrame(snapshot, TopLayout{200, 20, TopSort::network});
    auto burner = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.ends_with(" 10  burner"); });
    ASSERT_NE(burner, lines.end());
    EXPECT_NE(burner->find(formatRate(2048.0)), std::string::npos) << *burner;
    auto idle = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.ends_with(" 13  idle"); });
    ASSERT_NE(idle, lines.end());
    EXPECT_NE(idle->find(" - "), std::string::npos) << *idle;
    EXPECT_NE(lines[0].find("sort network"), std::string::npos);
}

TEST(TopFrame, TiesFallToCPUShareThenPid) {
    std::vector<ProcessSample> processes{process(30, "a", 1, 5, 0, 0), process(20, "b", 1, 5, 0, 0),
                                         process(40, "c", 3, 5, 0, 0)};
    EXPECT_EQ(pids(processes, TopSort::memory), (std::vector<int32_t>{40, 20, 30}));
}

TEST(TopFrame, AppsSortByEachFigureLargestFirst) {
    auto apps = sample().apps;
    sortApps(apps, TopSort::disk);
    EXPECT_EQ(apps[0].app.id, "backup");
    sortApps(apps, TopSort::memory);
    EXPECT_EQ(apps[0].app.id, "browser");
    sortApps(apps, TopSort::cpu);
    EXPECT_EQ(apps[0].app.id, "burner");
    sortApps(apps, TopSort::energy);
    EXPECT_EQ(apps[0].app.id, "browser");
    EXPECT_EQ(apps[2].app.id, "backup");
}

size_t columns(const std::string& line) {
    size_t count = 0;
    for (unsigned char c : line) count += (c & 0xC0) != 0x80;
    return count;
}

TEST(TopFrame, AFrameFillsTheHeightAndNoLineIsWiderThanTheWidth) {
    for (size_t width : {20u, 60u, 132u}) {
        for (size_t height : {5u, 12u, 40u}) {
            auto lines = topFrame(sample(), TopLayout{width, height, TopSort::cpu});
            EXPECT_EQ(lines.size(), height);
            for (const auto& line : lines) EXPECT_LE(columns(line), width) << line;
        }
    }
}

TEST(TopFrame, TheBusiestAppAndProcessComeFirstInTheirLists) {
    auto lines = topFrame(sample(), TopLayout{100, 20, TopSort::cpu});
    auto appsHeading = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.find("APP (3 apps)") != std::string::npos; });
    ASSERT_NE(appsHeading, lines.end());
    EXPECT_NE((appsHeading + 1)->find("burner"), std::string::npos);
    auto processHeading = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.find("(4 processes)") != std::string::npos; });
    ASSERT_NE(processHeading, lines.end());
    EXPECT_NE((processHeading + 1)->find("burner"), std::string::npos);
    EXPECT_NE((processHeading + 1)->find(" 10 "), std::string::npos);
}

TEST(TopFrame, TheChosenOrderIsMarkedAndApplied) {
    auto lines = topFrame(sample(), TopLayout{100, 20, TopSort::memory});
    EXPECT_NE(lines[0].find("sort memory"), std::string::npos);
    auto processHeading = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.find("processes)") != std::string::npos; });
    ASSERT_NE(processHeading, lines.end());
    EXPECT_NE(processHeading->find("[MEM]"), std::string::npos);
    EXPECT_NE((processHeading + 1)->find("browser"), std::string::npos);
}

TEST(TopFrame, AShortScreenDropsRowsNotTheHeader) {
    auto lines = topFrame(sample(), TopLayout{80, 9, TopSort::cpu});
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_NE(lines[0].find("orvantine top"), std::string::npos);
    EXPECT_NE(lines[1].find("CPU"), std::string::npos);
}

TEST(TopFrame, AFirstSnapshotSaysItIsMeasuring) {
    auto first = sample();
    first.interval = Duration::zero();
    EXPECT_NE(topFrame(first, TopLayout{})[0].find("measuring"), std::string::npos);
    EXPECT_EQ(topFrame(sample(), TopLayout{})[0].find("measuring"), std::string::npos);
}

TEST(TopFrame, AnEmptySnapshotStillDraws) {
    auto lines = topFrame(Snapshot{}, TopLayout{40, 10, TopSort::energy});
    EXPECT_EQ(lines.size(), 10u);
}

TEST(TopFrame, AZeroSizedTerminalGetsNoLines) {
    EXPECT_TRUE(topFrame(sample(), TopLayout{0, 0, TopSort::cpu}).empty());
}

}  // namespace
}  // namespace orv::cli
