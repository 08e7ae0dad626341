// The pure parts of `orvantine top`: its orders and the layout of one frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

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

std::vector<std::string> frame(const Snapshot& snapshot, TopSort sort = TopSort::cpu, size_t width = 80,
                               size_t height = 24) {
    TopState state;
    state.sort = sort;
    return topFrame(snapshot, state, TopLayout{width, height, false});
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
    auto lines = frame(snapshot, TopSort::network, 200, 20);
    auto burner = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.ends_with(" 10  burner"); });
    ASSERT_NE(burner, lines.end());
    EXPECT_NE(burner->find(formatRate(2048.0)), std::string::npos) << *burner;
    auto idle = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.ends_with(" 13  idle"); });
    ASSERT_NE(idle, lines.end());
    EXPECT_NE(idle->find(" - "), std::string::npos) << *idle;
    EXPECT_NE(lines[0].find("sort network"), std::string::npos);
}

TEST(TopFrame, TiesFallToMemoryThenName) {
    std::vector<ProcessSample> processes{process(30, "b", 1, 5, 0, 0), process(20, "c", 1, 5, 0, 0),
                                         process(40, "a", 1, 9, 0, 0), process(10, "b", 1, 5, 0, 0),
                                         process(50, "z", 2, 1, 0, 0)};
    EXPECT_EQ(pids(processes, TopSort::cpu), (std::vector<int32_t>{50, 40, 10, 30, 20}));
    EXPECT_EQ(pids(processes, TopSort::memory), (std::vector<int32_t>{40, 10, 30, 20, 50}));
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
            auto lines = frame(sample(), TopSort::cpu, width, height);
            EXPECT_EQ(lines.size(), height);
            for (const auto& line : lines) EXPECT_LE(columns(line), width) << line;
        }
    }
}

TEST(TopFrame, TheBusiestAppAndProcessComeFirstInTheirLists) {
    auto lines = frame(sample(), TopSort::cpu, 100, 20);
    auto appsHeading = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.find("APP (3 apps)") != std::string::npos; });
    ASSERT_NE(appsHeading, lines.end());
    EXPECT_NE((appsHeading + 1)->find("burner"), std::string::npos);
    auto processHeading = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.find("of 4 processes)") != std::string::npos; });
    ASSERT_NE(processHeading, lines.end());
    EXPECT_NE((processHeading + 1)->find("burner"), std::string::npos);
    EXPECT_NE((processHeading + 1)->find(" 10 "), std::string::npos);
}

TEST(TopFrame, TheChosenOrderIsMarkedAndApplied) {
    auto lines = frame(sample(), TopSort::memory, 100, 20);
    EXPECT_NE(lines[0].find("sort memory"), std::string::npos);
    auto processHeading = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.find("processes)") != std::string::npos; });
    ASSERT_NE(processHeading, lines.end());
    EXPECT_NE(processHeading->find("[MEM]"), std::string::npos);
    EXPECT_NE((processHeading + 1)->find("browser"), std::string::npos);
}

TEST(TopFrame, AShortScreenDropsRowsNotTheHeader) {
    auto lines = frame(sample(), TopSort::cpu, 80, 9);
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_NE(lines[0].find("orvantine top"), std::string::npos);
    EXPECT_NE(lines[1].find("Mem"), std::string::npos);
}

TEST(TopFrame, AFirstSnapshotSaysItIsMeasuring) {
    auto first = sample();
    first.interval = Duration::zero();
    EXPECT_NE(frame(first)[0].find("measuring"), std::string::npos);
    EXPECT_EQ(frame(sample())[0].find("measuring"), std::string::npos);
}

TEST(TopFrame, AnEmptySnapshotStillDraws) {
    auto lines = frame(Snapshot{}, TopSort::energy, 40, 10);
    EXPECT_EQ(lines.size(), 10u);
}

TEST(TopFrame, AZeroSizedTerminalGetsNoLines) {
    EXPECT_TRUE(frame(sample(), TopSort::cpu, 0, 0).empty());
}


// The fixture's processes as a tree: burner (10) starts backup (12), which
// starts idle (13); browser (11) stands alone.
SharedStrings::Shared sharedPath(const char* text) { return std::make_shared<const std::string>(text); }

ProcessFactsByPID treeFacts() {
    ProcessFactsByPID facts;
    facts[10] = ProcessFacts{1, 1000, sharedPath("/usr/bin/burner"), Date::fromUnixSeconds(1'699'990'000), false};
    facts[11] = ProcessFacts{1, 1000, sharedPath("/usr/bin/browser"), Date::fromUnixSeconds(1'699'990'000), false};
    facts[12] = ProcessFacts{10, 1000, nullptr, Date::fromUnixSeconds(1'699'990'000), false};
    facts[13] = ProcessFacts{12, 0, nullptr, Date::fromUnixSeconds(1'699'990'000), false};
    return facts;
}

std::vector<int32_t> rowPIDs(const Snapshot& snapshot, const ProcessFactsByPID& facts, const TopState& state) {
    return topRowPIDs(topRows(snapshot, facts, state));
}

std::vector<std::string> frameWith(const Snapshot& snapshot, const TopState& state, TopLayout layout,
                                   const TopHistory* history = nullptr, const ProcessFactsByPID* facts = nullptr) {
    return topFrame(snapshot, state, layout, TopContext{.history = history, .facts = facts});
}

auto lineWith(const std::vector<std::string>& lines, std::string_view text) {
    return std::find_if(lines.begin(), lines.end(), [&](auto& l) { return l.find(text) != std::string::npos; });
}

TEST(TopMeter, BarsFillWithFullBlocksAndAnEighthForTheRest) {
    EXPECT_EQ(meterBar(0.5, 4), "██  ");
    EXPECT_EQ(meterBar(0, 3), "   ");
    EXPECT_EQ(meterBar(1, 3), "███");
    EXPECT_EQ(meterBar(2.5, 3), "███");           // clamped
    EXPECT_EQ(meterBar(-1, 2), "  ");
    EXPECT_EQ(meterBar(std::nan(""), 2), "  ");
    EXPECT_EQ(meterBar(1.0 / 16, 2), "▏ ");       // one eighth of the first cell
    EXPECT_EQ(meterBar(0.5 + 1.0 / 8, 4), "██▌ ");
    EXPECT_EQ(displayWidth(meterBar(0.37, 10)), 10u);
}

TEST(TopMeter, SparklinesScaleToTheTopOrToTheLargestValue) {
    EXPECT_EQ(sparkline({0, 50, 100}, 100), "▁▅█");
    EXPECT_EQ(sparkline({0, 200}, 100), "▁█");
    EXPECT_EQ(sparkline({1, 2, 4}, 0), "▃▅█");  // largest value is the top
    EXPECT_EQ(sparkline({0, 0}, 0), "▁▁");
    EXPECT_EQ(sparkline({}, 100), "");
}

TEST(TopFrame, EachCoreHasAMeterAndMemorySwapAndLoadHaveTheirs) {
    auto snapshot = sample();
    snapshot.system.cpu.perCorePercent = {100, 50, 0, 25};
    snapshot.system.cpu.loadAverage = {2, 1, 0.5};
    snapshot.system.memory.usedBytes = 4ull << 30;
    snapshot.system.memory.cachedFilesBytes = 2ull << 30;
    auto lines = frame(snapshot, TopSort::cpu, 120, 30);
    auto cores = lineWith(lines, "0 [");
    ASSERT_NE(cores, lines.end());
    EXPECT_NE(cores->find("0 [██████████] 100%"), std::string::npos) << *cores;
    EXPECT_NE(cores->find("1 [█████     ]  50%"), std::string::npos) << *cores;
    EXPECT_NE(cores->find("3 [██▌       ]  25%"), std::string::npos) << *cores;
    // Half the memory used (10 of 20 cells), a quarter cached (5 cells).
    auto memory = lineWith(lines, "Mem  [");
    ASSERT_NE(memory, lines.end());
    EXPECT_NE(memory->find("[██████████░░░░░     ]"), std::string::npos) << *memory;
    EXPECT_NE(memory->find("cached " + formatBytes(2ull << 30)), std::string::npos);
    auto load = lineWith(lines, "Load [");
    ASSERT_NE(load, lines.end());
    EXPECT_NE(load->find("[█████     ] 2.00 1.00 0.50"), std::string::npos) << *load;  // 2 of 4 cores
    EXPECT_NE(load->find("Swap ["), std::string::npos);
}

TEST(TopFrame, ManyCoresFoldIntoOneBlockEach) {
    auto snapshot = sample();
    snapshot.system.cpu.perCorePercent.assign(64, 0);
    snapshot.system.cpu.perCorePercent[1] = 100;
    auto lines = frame(snapshot, TopSort::cpu, 100, 24);
    auto cores = lineWith(lines, "Cores ");
    ASSERT_NE(cores, lines.end());
    EXPECT_EQ(displayWidth(*cores), 6u + 64u);
    EXPECT_EQ(cores->substr(6, 6), "▁█");
    EXPECT_EQ(lineWith(lines, "0 ["), lines.end());
}

TEST(TopFrame, SparklinesShowTheMinuteOfHistory) {
    TopHistory history;
    SystemSample s;
    s.memory.totalBytes = 100;
    for (double cpu : {0.0, 100.0, 50.0}) {
        s.cpu.totalPercent = cpu;
        s.memory.usedBytes = uint64_t(cpu);
        s.disk.readBPS = cpu * 10;
        s.network.outBPS = 100 - cpu;
        history.observe(s);
    }
    auto lines = frameWith(sample(), TopState{}, TopLayout{120, 40, false}, &history);
    auto cpu = lineWith(lines, "CPU   ▁█▅");
    ASSERT_NE(cpu, lines.end());
    EXPECT_NE(cpu->find("Mem   ▁█▅"), std::string::npos) << *cpu;
    auto disk = lineWith(lines, "Read  ▁█▅");
    ASSERT_NE(disk, lines.end());
    EXPECT_NE(disk->find("Write ▁▁▁"), std::string::npos) << *disk;
    auto net = lineWith(lines, "Out   █▁▅");
    ASSERT_NE(net, lines.end());
    // Without a history there are no sparklines.
    auto plain = frame(sample(), TopSort::cpu, 120, 40);
    EXPECT_EQ(lineWith(plain, "Read "), plain.end());
}

TEST(TopFrame, TheHistoryKeepsOnlyTheLastMinute) {
    TopHistory history(60);
    SystemSample s;
    for (int i = 0; i < 75; ++i) {
        s.cpu.totalPercent = i;
        history.observe(s);
    }
    ASSERT_EQ(history.points().size(), 60u);
    EXPECT_EQ(history.points().front().cpuPercent, 15);
    EXPECT_EQ(history.points().back().cpuPercent, 74);
    s.memory.totalBytes = 0;  // no total: no fraction, no division by zero
    history.observe(s);
    EXPECT_EQ(history.points().back().memoryFraction, 0);
}

TEST(TopFrame, ANarrowTerminalDropsColumnsButKeepsFiguresPidAndName) {
    auto wide = frame(sample(), TopSort::cpu, 132, 24);
    auto heading = lineWith(wide, "processes)");
    ASSERT_NE(heading, wide.end());
    for (const char* title : {"DISK/s", "NET IN/s", "NET OUT/s", "ENERGY", "PID", "NAME"})
        EXPECT_NE(heading->find(title), std::string::npos) << title;

    auto narrow = frame(sample(), TopSort::cpu, 50, 24);
    heading = lineWith(narrow, "PID");
    ASSERT_NE(heading, narrow.end());
    EXPECT_EQ(heading->find("DISK/s"), std::string::npos);
    EXPECT_EQ(heading->find("ENERGY"), std::string::npos);
    auto row = std::find_if(narrow.begin(), narrow.end(), [](auto& l) { return l.ends_with(" 10  burner"); });
    ASSERT_NE(row, narrow.end());
    EXPECT_NE(row->find(formatPercent(90)), std::string::npos);

    // The chosen order's column is the last to go.
    auto byDisk = frame(sample(), TopSort::disk, 55, 24);
    heading = lineWith(byDisk, "PID");
    ASSERT_NE(heading, byDisk.end());
    EXPECT_NE(heading->find("[DISK/s]"), std::string::npos) << *heading;

    for (size_t width : {1u, 10u, 33u, 50u, 79u}) {
        for (const auto& line : frame(sample(), TopSort::cpu, width, 24)) EXPECT_LE(displayWidth(line), width) << line;
    }
}

TEST(TopFrame, ColourMeansEscapesAndPlainMeansNone) {
    auto snapshot = sample();
    snapshot.system.cpu.perCorePercent = {95, 10};
    snapshot.system.memory.pressure = MemoryPressure::critical;
    snapshot.system.thermal = ThermalPressure::serious;
    TopHistory history;
    history.observe(snapshot.system);
    auto facts = treeFacts();
    TopState state;
    state.message = "Nothing was stopped";
    for (const auto& line : frameWith(snapshot, state, TopLayout{120, 40, false}, &history, &facts))
        EXPECT_EQ(line.find('\x1b'), std::string::npos) << line;

    auto coloured = frameWith(snapshot, state, TopLayout{120, 40, true}, &history, &facts);
    auto pressure = lineWith(coloured, "Pressure");
    ASSERT_NE(pressure, coloured.end());
    EXPECT_NE(pressure->find("\x1b[1;31mcritical\x1b[0m"), std::string::npos) << *pressure;
    EXPECT_NE(pressure->find("\x1b[31mserious\x1b[0m"), std::string::npos) << *pressure;
    auto cores = lineWith(coloured, "0 [");
    ASSERT_NE(cores, coloured.end());
    EXPECT_NE(cores->find("\x1b[31m"), std::string::npos);  // 95 %: red
    EXPECT_NE(cores->find("\x1b[32m"), std::string::npos);  // 10 %: green
    // Escapes take no columns: every line still fits.
    for (const auto& line : coloured) EXPECT_LE(displayWidth(line), 120u);
    // The selected row is in reverse video across the whole width.
    auto selected = std::find_if(coloured.begin(), coloured.end(), [](auto& l) { return l.starts_with("\x1b[7m>"); });
    ASSERT_NE(selected, coloured.end());
    EXPECT_EQ(displayWidth(*selected), 120u);
}

TEST(TopFrame, CuttingAColouredLineKeepsItsEscapesAndResets) {
    std::string line = "ab\x1b[31mcdef\x1b[0mgh";
    EXPECT_EQ(displayWidth(line), 8u);
    EXPECT_EQ(fitColumns(line, 4), "ab\x1b[31mcd\x1b[0m");
    EXPECT_EQ(fitColumns(line, 8), line);
    EXPECT_EQ(fitColumns(line, 7), "ab\x1b[31mcdef\x1b[0mg");
    EXPECT_EQ(fitColumns("é█x", 2), "é█");
}

TEST(TopFrame, KernelThreadsAreHiddenUntilAskedFor) {
    auto facts = treeFacts();
    facts[13].isKernelThread = true;
    TopState state;
    EXPECT_EQ(rowPIDs(sample(), facts, state), (std::vector<int32_t>{10, 11, 12}));
    state.showKernelThreads = true;
    EXPECT_EQ(rowPIDs(sample(), facts, state), (std::vector<int32_t>{10, 11, 12, 13}));
}

TEST(TopFrame, KernelThreadsAreTheKernelsTaskAndTheThreadDaemonsFamily) {
    SharedStrings paths;
    ProcessReading reading;
    reading.pid = 2;
    EXPECT_TRUE(ProcessFacts::of(reading, paths).isKernelThread);
    reading.pid = 0;
    EXPECT_TRUE(ProcessFacts::of(reading, paths).isKernelThread);
    reading.pid = 40;
    reading.parentPID = 2;
    EXPECT_TRUE(ProcessFacts::of(reading, paths).isKernelThread);
    reading.executablePath = "/usr/bin/kthread-lookalike";
    EXPECT_FALSE(ProcessFacts::of(reading, paths).isKernelThread);
    reading.parentPID = 1;
    reading.executablePath.reset();  // another user's process, its executable unreadable
    EXPECT_FALSE(ProcessFacts::of(reading, paths).isKernelThread);
}

TEST(TopFrame, TheFilterMatchesNameOrAppWithoutRegardToCase) {
    auto snapshot = sample();
    snapshot.apps.push_back(app("other:idle", 0, 0, 0, 0));
    snapshot.apps.back().app.name = "Idle Thing";
    ProcessFactsByPID none;
    TopState state;
    state.filter = "BROW";
    EXPECT_EQ(rowPIDs(snapshot, none, state), (std::vector<int32_t>{11}));
    state.filter = "other:back";  // the app's id
    EXPECT_EQ(rowPIDs(snapshot, none, state), (std::vector<int32_t>{12}));
    state.filter = "thing";  // the app's name
    EXPECT_EQ(rowPIDs(snapshot, none, state), (std::vector<int32_t>{13}));
    state.filter = "nothing like it";
    EXPECT_TRUE(rowPIDs(snapshot, none, state).empty());
    auto lines = frameWith(snapshot, state, TopLayout{100, 24, false});
    EXPECT_NE(lineWith(lines, "(0 of 4 processes)"), lines.end());
    EXPECT_NE(lines.back().find("filter \"nothing like it\""), std::string::npos) << lines.back();
}

TEST(TopFrame, TheTreeListsChildrenUnderTheirParentInTheChosenOrder) {
    auto facts = treeFacts();
    TopState state;
    state.tree = true;
    auto snapshot = sample();  // the rows point into it
    auto rows = topRows(snapshot, facts, state);
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(topRowPIDs(rows), (std::vector<int32_t>{10, 12, 13, 11}));
    EXPECT_EQ(rows[0].depth, 0u);
    EXPECT_EQ(rows[1].depth, 1u);
    EXPECT_EQ(rows[2].depth, 2u);
    EXPECT_EQ(rows[3].depth, 0u);
    // Ordered by memory, browser's tree comes first.
    state.sort = TopSort::memory;
    EXPECT_EQ(rowPIDs(sample(), facts, state), (std::vector<int32_t>{11, 10, 12, 13}));
    // A filtered-out parent makes its child a root.
    state.filter = "idle";
    rows = topRows(snapshot, facts, state);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].depth, 0u);

    state = TopState{};
    state.tree = true;
    auto lines = frameWith(sample(), state, TopLayout{100, 30, false}, nullptr, &facts);
    auto child = lineWith(lines, "└ backup");
    ASSERT_NE(child, lines.end());
    EXPECT_NE(lineWith(lines, "  └ idle"), lines.end());
    EXPECT_NE(lines[0].find("tree"), std::string::npos);
}

TEST(TopFrame, ALoopOfParentsLosesNoProcess) {
    auto facts = treeFacts();
    facts[10].parentPID = 13;  // 10 → 12 → 13 → 10, read in a race
    TopState state;
    state.tree = true;
    auto pids = rowPIDs(sample(), facts, state);
    std::sort(pids.begin(), pids.end());
    EXPECT_EQ(pids, (std::vector<int32_t>{10, 11, 12, 13}));
}

TEST(TopFrame, TheSelectedRowIsMarkedAndScrolledIntoView) {
    auto snapshot = sample();
    for (int32_t pid = 100; pid < 160; ++pid) snapshot.processes.push_back(process(pid, "filler", 0, 0, 0, 0));
    TopState state;
    auto lines = frameWith(snapshot, state, TopLayout{100, 24, false});
    auto first = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.starts_with(">"); });
    ASSERT_NE(first, lines.end());
    EXPECT_TRUE(first->ends_with(" 10  burner")) << *first;
    state.selectedPID = 159;
    lines = frameWith(snapshot, state, TopLayout{100, 24, false});
    auto last = std::find_if(lines.begin(), lines.end(), [](auto& l) { return l.starts_with(">"); });
    ASSERT_NE(last, lines.end());
    EXPECT_TRUE(last->ends_with(" 159  filler")) << *last;
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](auto& l) { return l.starts_with(">"); }), 1);
}

TEST(TopFrame, TheDetailPanelDescribesTheSelectedProcess) {
    auto facts = treeFacts();
    TopState state;
    state.detail = true;
    state.selectedPID = 11;
    auto lines = topFrame(sample(), state, TopLayout{120, 30, false},
                          TopContext{.facts = &facts,
                                     .arguments = std::vector<std::string>{"/usr/bin/browser", "--profile", "work"}});
    EXPECT_NE(lineWith(lines, "browser (pid 11)  app other:browser"), lines.end());
    EXPECT_NE(lineWith(lines, "Command  /usr/bin/browser --profile work"), lines.end());
    EXPECT_NE(lineWith(lines, "Path     /usr/bin/browser"), lines.end());
    auto user = lineWith(lines, "User     ");
    ASSERT_NE(user, lines.end());
    EXPECT_NE(user->find("parent 1"), std::string::npos);
    EXPECT_NE(user->find(formatUTCDateTime(Date::fromUnixSeconds(1'699'990'000))), std::string::npos);
    EXPECT_NE(lineWith(lines, "memory " + formatBytes(900 << 20)), lines.end());
    EXPECT_EQ(lineWith(lines, "APP ("), lines.end());  // the panel takes the apps' place
    EXPECT_NE(lineWith(lines, "PID"), lines.end());
}

TEST(TopFrame, TheHelpPanelListsTheKeys) {
    TopState state;
    state.help = true;
    auto lines = frameWith(sample(), state, TopLayout{100, 40, false});
    for (const char* key : {"c m d n e", "/ ", "  t ", "  k ", "  x ", "  X ", "Enter", "  q "})
        EXPECT_NE(lineWith(lines, key), lines.end()) << key;
    EXPECT_EQ(lineWith(lines, "processes)"), lines.end());
}

TEST(TopFrame, AStrainHasItsOwnLine) {
    auto lines = topFrame(sample(), TopState{}, TopLayout{120, 30, false},
                          TopContext{.strain = StrainReason::memory});
    auto strain = lineWith(lines, "Strain: ");
    ASSERT_NE(strain, lines.end());
    EXPECT_EQ(strain->find("Pressure"), std::string::npos);
}

}  // namespace
}  // namespace orv::cli
