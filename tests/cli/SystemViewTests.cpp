#include <gtest/gtest.h>

#include <boost/json/parse.hpp>
#include <sstream>
#include <stdexcept>

#include "cli/SystemView.h"
#include "core/JsonCoding.h"

namespace orv::cli {
namespace {

SystemSection fixedSection(std::string key, std::string text, bool fails = false) {
    SystemSection section;
    section.key = key;
    section.first = [] {};
    section.second = [fails] {
        if (fails) throw std::runtime_error("kernel(5)");
    };
    section.print = [text](std::ostream& out) { out << text << "\n"; };
    section.json = [key](boost::json::object& object) { object[key] = 1; };
    return section;
}

SystemOptions quick(bool json) {
    SystemOptions options;
    options.interval = Duration::milliseconds(1);
    options.json = json;
    return options;
}

TEST(SystemView, JSONIsOneObjectWithAKeyPerSection) {
    std::vector<SystemSection> sections{fixedSection("cpu", "c"), fixedSection("memory", "m"),
                                        fixedSection("disk", "d"), fixedSection("network", "n")};
    std::ostringstream out, errors;
    EXPECT_EQ(runSystem(sections, quick(true), out, errors), 0);
    auto value = boost::json::parse(out.str());
    ASSERT_TRUE(value.is_object());
    EXPECT_EQ(value.as_object().size(), 4u);
    for (const char* key : {"cpu", "memory", "disk", "network"}) EXPECT_TRUE(value.as_object().contains(key)) << key;
}

TEST(SystemView, TextPrintsTheSectionsInOrder) {
    std::vector<SystemSection> sections{fixedSection("cpu", "first"), fixedSection("memory", "second")};
    std::ostringstream out, errors;
    runSystem(sections, quick(false), out, errors);
    EXPECT_EQ(out.str(), "first\nsecond\n");
}

TEST(SystemView, FailingSectionIsReportedAndLeftOut) {
    std::vector<SystemSection> sections{fixedSection("cpu", "c", true), fixedSection("memory", "m")};
    std::ostringstream out, errors;
    EXPECT_EQ(runSystem(sections, quick(true), out, errors), 0);
    EXPECT_EQ(errors.str(), "orvantine: cpu unavailable: kernel(5)\n");
    auto value = boost::json::parse(out.str());
    EXPECT_FALSE(value.as_object().contains("cpu"));
    EXPECT_TRUE(value.as_object().contains("memory"));
}

TEST(SystemView, EverySectionFailingIsExitStatusOne) {
    std::vector<SystemSection> sections{fixedSection("cpu", "c", true)};
    std::ostringstream out, errors;
    EXPECT_EQ(runSystem(sections, quick(false), out, errors), 1);
}

TEST(SystemView, RealSectionsBeginWithTheFourSystemKeys) {
    auto sections = makeSystemSections();
    ASSERT_GE(sections.size(), 4u);
    EXPECT_EQ(sections[0].key, "cpu");
    EXPECT_EQ(sections[1].key, "memory");
    EXPECT_EQ(sections[2].key, "disk");
    EXPECT_EQ(sections[3].key, "network");
}

TEST(SystemView, PrintsNetworkWithoutPrimaryAsNone) {
    std::ostringstream out;
    printNetwork(NetworkStats{2048, 0, std::nullopt}, out);
    EXPECT_EQ(out.str(), "Network  in 2.0 KiB/s, out 0 B/s, primary interface none\n");
}

TEST(SystemView, PrintsEachVolumeUnderTheDiskLine) {
    std::ostringstream out;
    printDisk(DiskStats{{VolumeStats{"U-1", "root", 1 << 30, 1 << 29}}, 0, 1024}, out);
    EXPECT_EQ(out.str(), "Disk     read 0 B/s, write 1.0 KiB/s\n  root           512.0 MiB free of 1.0 GiB  (U-1)\n");
}

// The rates go through the one rate formatter: rounded to whole bytes
// before the unit is chosen, never negative.
TEST(SystemView, DiskAndNetworkRatesRoundLikeEveryOtherRate) {
    std::ostringstream disk, network;
    printDisk(DiskStats{{}, 1023.6, -3}, disk);
    EXPECT_EQ(disk.str(), "Disk     read 1.0 KiB/s, write 0 B/s\n");
    printNetwork(NetworkStats{1023.6, -1, std::string("eth0")}, network);
    EXPECT_EQ(network.str(), "Network  in 1.0 KiB/s, out 0 B/s, primary interface eth0\n");
}

}  // namespace
}  // namespace orv::cli
