#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "cli/SamplingSession.h"
#include "cli/SystemView.h"
#include "core/JsonCoding.h"

namespace orv::cli {
namespace {

// A section that sets one figure of its part of the record (the CPU's
// total share, the memory's total bytes, …) unless it fails.
SystemSection fixedSection(std::string key, std::string text, bool fails = false) {
    SystemSection section;
    section.key = key;
    section.first = [] {};
    section.second = [key, fails](SystemSample& sample) {
        if (fails) throw std::runtime_error("kernel(5)");
        if (key == "cpu") sample.cpu.totalPercent = 12.5;
        if (key == "memory") sample.memory.totalBytes = 8ull << 30;
        if (key == "disk") sample.disk.readBPS = 1024;
        if (key == "network") sample.network.primaryInterface = "eth0";
        if (key == "gpu") sample.gpu = GPUStats{"Fake GPU", 30, std::nullopt};
    };
    section.print = [text](const SystemSample&, std::ostream& out) { out << text << "\n"; };
    return section;
}

SystemReport report(std::vector<SystemSection> sections) {
    return SystemReport{std::move(sections), [] { return Duration::seconds(4000); }};
}

SystemOptions quick(bool json) {
    SystemOptions options;
    options.interval = Duration::milliseconds(1);
    options.json = json;
    return options;
}

TEST(SystemView, JSONIsTheSystemSampleRecordTheSectionsFilled) {
    auto sections = report({fixedSection("cpu", "c"), fixedSection("memory", "m"), fixedSection("disk", "d"),
                            fixedSection("network", "n"), fixedSection("gpu", "g")});
    std::ostringstream out, errors;
    EXPECT_EQ(runSystem(sections, quick(true), out, errors), 0);
    SystemSample expected;
    expected.cpu.totalPercent = 12.5;
    expected.memory.totalBytes = 8ull << 30;
    expected.disk.readBPS = 1024;
    expected.network.primaryInterface = "eth0";
    expected.gpu = GPUStats{"Fake GPU", 30, std::nullopt};
    expected.uptime = Duration::seconds(4000);
    EXPECT_EQ(out.str(), json::encode(expected) + "\n");
    EXPECT_EQ(json::decode<SystemSample>(out.str()), expected);
}

TEST(SystemView, TextPrintsTheSectionsInOrder) {
    auto sections = report({fixedSection("cpu", "first"), fixedSection("memory", "second")});
    std::ostringstream out, errors;
    runSystem(sections, quick(false), out, errors);
    EXPECT_EQ(out.str(), "first\nsecond\n");
}

TEST(SystemView, FailingSectionIsReportedLeftOutOfTheTextAndKeepsTheRecordsDefault) {
    auto sections = report({fixedSection("cpu", "c", true), fixedSection("memory", "m"), fixedSection("gpu", "g", true)});
    std::ostringstream out, errors, text;
    EXPECT_EQ(runSystem(sections, quick(true), out, errors), 0);
    EXPECT_EQ(errors.str(), "orvantine: cpu unavailable: kernel(5)\norvantine: gpu unavailable: kernel(5)\n");
    auto sample = json::decode<SystemSample>(out.str());
    EXPECT_EQ(sample.cpu, CPUStats{});
    EXPECT_EQ(sample.memory.totalBytes, 8ull << 30);
    EXPECT_EQ(sample.gpu, std::nullopt);
    EXPECT_EQ(out.str().find("\"gpu\""), std::string::npos) << out.str();

    auto again = report({fixedSection("cpu", "c", true), fixedSection("memory", "m")});
    runSystem(again, quick(false), text, errors);
    EXPECT_EQ(text.str(), "m\n");
}

TEST(SystemView, EverySectionFailingIsExitStatusOne) {
    auto sections = report({fixedSection("cpu", "c", true)});
    std::ostringstream out, errors;
    EXPECT_EQ(runSystem(sections, quick(false), out, errors), 1);
}

TEST(SystemView, EverySectionFailingPrintsNoRecord) {
    auto sections = report({fixedSection("cpu", "c", true)});
    std::ostringstream out, errors;
    EXPECT_EQ(runSystem(sections, quick(true), out, errors), 1);
    EXPECT_EQ(out.str(), "");
}

TEST(SystemView, RealSectionsBeginWithTheFourSystemKeys) {
    SamplingSession session;
    auto real = makeSystemReport(session);
    auto& sections = real.sections;
    ASSERT_GE(sections.size(), 4u);
    EXPECT_EQ(sections[0].key, "cpu");
    EXPECT_EQ(sections[1].key, "memory");
    EXPECT_EQ(sections[2].key, "disk");
    EXPECT_EQ(sections[3].key, "network");
    ASSERT_TRUE(real.uptime);
    EXPECT_GT(real.uptime(), Duration::zero());
}

TEST(SystemView, PrintsNetworkWithoutPrimaryAsNone) {
    std::ostringstream out;
    printNetwork(NetworkStats{2048, 0, std::nullopt}, out);
    EXPECT_EQ(out.str(), "Network  in 2.0 kB/s, out 0 B/s, primary interface none\n");
}

TEST(SystemView, PrintsEachVolumeUnderTheDiskLine) {
    std::ostringstream out;
    printDisk(DiskStats{{VolumeStats{"U-1", "root", 1 << 30, 1 << 29}}, 0, 1024}, out);
    EXPECT_EQ(out.str(), "Disk     read 0 B/s, write 1.0 kB/s\n  root           512 MB free of 1.0 GB  (U-1)\n");
}

// The rates go through the one rate formatter: rounded to whole bytes
// before the unit is chosen, never negative.
TEST(SystemView, DiskAndNetworkRatesRoundLikeEveryOtherRate) {
    std::ostringstream disk, network;
    printDisk(DiskStats{{}, 1023.6, -3}, disk);
    EXPECT_EQ(disk.str(), "Disk     read 1.0 kB/s, write 0 B/s\n");
    printNetwork(NetworkStats{1023.6, -1, std::string("eth0")}, network);
    EXPECT_EQ(network.str(), "Network  in 1.0 kB/s, out 0 B/s, primary interface eth0\n");
}

}  // namespace
}  // namespace orv::cli
