#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "cli/MetricsExposition.h"

namespace orv::cli {
namespace {

Snapshot twoCoreSnapshot(double seconds) {
    Snapshot s;
    s.interval = Duration::milliseconds(int64_t(seconds * 1000));
    s.system.cpu.perCorePercent = {100, 20};
    s.system.cpu.userPercent = 45;
    s.system.cpu.systemPercent = 15;
    s.system.cpu.totalPercent = 60;
    s.system.disk.readBPS = 1000;
    s.system.disk.writeBPS = 500;
    s.system.network.inBPS = 2048;
    s.system.network.outBPS = 1024;
    s.system.network.primaryInterface = "eth0";
    s.system.memory.totalBytes = 8ull << 30;
    s.system.memory.pressure = MemoryPressure::warning;
    AppAggregate burner;
    burner.app.id = "other:burner";
    burner.app.name = "burner \"one\"";
    burner.processCount = 1;
    burner.cpuPercent = 50;  // of the whole two-core machine: one core
    burner.memoryBytes = 4096;
    burner.diskReadBPS = 10;
    burner.netInBPS = 100.0;
    s.apps.push_back(burner);
    return s;
}

// The value of the first line that starts with `series`.
double valueOf(const std::string& text, const std::string& series) {
    const auto at = text.find("\n" + series + " ");
    if (at == std::string::npos) return std::numeric_limits<double>::quiet_NaN();
    return std::stod(text.substr(at + series.size() + 2));
}

TEST(MetricsExposition, RatesBecomeCountersThatGrowByRateTimesInterval) {
    MetricsExposition exposition;
    exposition.add(twoCoreSnapshot(2));
    exposition.add(twoCoreSnapshot(3));
    const std::string text = exposition.text(false);
    // Core 0 busy all 5 s, split 3:1 between user and system.
    EXPECT_DOUBLE_EQ(valueOf(text, "orvantine_cpu_seconds_total{core=\"0\",mode=\"user\"}"), 3.75);
    EXPECT_DOUBLE_EQ(valueOf(text, "orvantine_cpu_seconds_total{core=\"0\",mode=\"system\"}"), 1.25);
    EXPECT_DOUBLE_EQ(valueOf(text, "orvantine_cpu_seconds_total{core=\"1\",mode=\"idle\"}"), 4);
    EXPECT_DOUBLE_EQ(valueOf(text, "orvantine_disk_read_bytes_total"), 5000);
    EXPECT_DOUBLE_EQ(valueOf(text, "orvantine_network_receive_bytes_total"), 10240);
    // 50 % of two cores for 5 s: 5 CPU seconds, so rate() gives one core.
    EXPECT_DOUBLE_EQ(
        valueOf(text, "orvantine_app_cpu_seconds_total{app=\"other:burner\",name=\"burner \\\"one\\\"\",kind=\"other\"}"), 5);
    EXPECT_DOUBLE_EQ(
        valueOf(text, "orvantine_app_network_receive_bytes_total{app=\"other:burner\",name=\"burner \\\"one\\\"\",kind=\"other\"}"),
        500);
    EXPECT_DOUBLE_EQ(valueOf(text, "orvantine_memory_pressure{level=\"warning\"}"), 1);
    EXPECT_DOUBLE_EQ(valueOf(text, "orvantine_memory_pressure{level=\"normal\"}"), 0);
    EXPECT_DOUBLE_EQ(valueOf(text, "orvantine_network_primary_interface{interface=\"eth0\"}"), 1);
    EXPECT_NE(text.find("# TYPE orvantine_cpu_seconds_total counter\n"), std::string::npos);
    EXPECT_EQ(text.find("# EOF"), std::string::npos);
}

TEST(MetricsExposition, OpenMetricsNamesCounterFamiliesWithoutTotalAndEnds) {
    MetricsExposition exposition;
    exposition.add(twoCoreSnapshot(1));
    const std::string text = exposition.text(true);
    EXPECT_NE(text.find("# TYPE orvantine_cpu_seconds counter\n# UNIT orvantine_cpu_seconds seconds\n"), std::string::npos);
    EXPECT_NE(text.find("\norvantine_cpu_seconds_total{core=\"0\",mode=\"user\"} "), std::string::npos);
    EXPECT_TRUE(text.ends_with("# EOF\n"));
}

TEST(MetricsExposition, AnAppThatLeftKeepsItsCounterButNoLevels) {
    MetricsExposition exposition;
    exposition.add(twoCoreSnapshot(1));
    Snapshot empty = twoCoreSnapshot(1);
    empty.apps.clear();
    exposition.add(empty);
    const std::string text = exposition.text(false);
    EXPECT_NE(text.find("orvantine_app_cpu_seconds_total{app=\"other:burner\""), std::string::npos);
    EXPECT_EQ(text.find("orvantine_app_memory_bytes{app=\"other:burner\""), std::string::npos);
}

TEST(MetricsExposition, ProcessesOnlyWhenAsked) {
    Snapshot s = twoCoreSnapshot(1);
    ProcessSample p;
    p.pid = 42;
    p.name = "burner";
    p.app = "other:burner";
    p.cpuPercent = 50;
    s.processes.push_back(p);
    MetricsExposition without;
    without.add(s);
    EXPECT_EQ(without.text(false).find("orvantine_process_"), std::string::npos);
    MetricsExposition with({.processes = true});
    with.add(s);
    EXPECT_DOUBLE_EQ(valueOf(with.text(false), "orvantine_process_cpu_seconds_total{pid=\"42\",name=\"burner\",app=\"other:burner\"}"), 1);
}

TEST(MetricsExposition, NothingBeforeTheFirstSnapshot) {
    MetricsExposition exposition;
    EXPECT_EQ(exposition.text(false), "");
    EXPECT_EQ(exposition.text(true), "# EOF\n");
}

TEST(MetricsExposition, LabelsAndNumbersAsTheFormatWritesThem) {
    EXPECT_EQ(MetricsExposition::escapeLabel("a\\b\"c\nd"), "a\\\\b\\\"c\\nd");
    EXPECT_EQ(MetricsExposition::number(std::nan("")), "NaN");
    EXPECT_EQ(MetricsExposition::number(INFINITY), "+Inf");
    EXPECT_EQ(MetricsExposition::number(-INFINITY), "-Inf");
    EXPECT_EQ(MetricsExposition::number(0.1), "0.1");
    EXPECT_EQ(MetricsExposition::number(25276510208.0), "25276510208");
}

}  // namespace
}  // namespace orv::cli
