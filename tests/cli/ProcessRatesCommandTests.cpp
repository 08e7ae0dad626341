// `orvantine processes --rates`, run as the user runs it.

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

#include "core/JsonCoding.h"
#include "support/CommandRunner.h"
#include "core/ProcessSample.h"

namespace orv {
namespace {

using test::runOrvantine;


class ProcessRatesCommand : public test::OrvantineCommandTest {};

TEST_F(ProcessRatesCommand, JsonDecodesAsProcessSamplesBusiestFirst) {
    auto burned = test::runWhileBurningACore("processes --rates --json --interval 1", "orvburner");
    ASSERT_GE(burned.burner, 0);
    const pid_t burner = burned.burner;
    const double coresReceived = burned.coresReceived;
    const auto& result = burned.result;

    ASSERT_EQ(result.status, 0) << result.out;
    std::vector<ProcessSample> samples;
    ASSERT_NO_THROW(samples = json::decode<std::vector<ProcessSample>>(result.out)) << result.out.substr(0, 500);
    ASSERT_FALSE(samples.empty());
    EXPECT_TRUE(std::is_sorted(samples.begin(), samples.end(),
                               [](const auto& a, const auto& b) { return a.cpuPercent > b.cpuPercent; }));
    auto found = std::find_if(samples.begin(), samples.end(), [&](const auto& s) { return s.pid == burner; });
    ASSERT_NE(found, samples.end()) << "the burner is missing";
    EXPECT_EQ(found->app, "other:" + found->name);
    EXPECT_EQ(found->netInBPS, std::nullopt);
    if (coresReceived < 0.9) {
        GTEST_SKIP() << "this machine is too busy to give the burner a whole core (it got " << coresReceived << ")";
    }
    int cores = int(std::thread::hardware_concurrency());
    EXPECT_EQ(samples.front().pid, burner) << "the busiest is " << samples.front().name;
    EXPECT_NEAR(found->cpuPercent, 100.0 / cores, 20.0 / cores);
}

TEST_F(ProcessRatesCommand, TableHasAHeaderAndOneLinePerProcess) {
    auto result = runOrvantine("processes --rates --interval 0.2");
    ASSERT_EQ(result.status, 0) << result.out;
    auto firstLineEnd = result.out.find('\n');
    ASSERT_NE(firstLineEnd, std::string::npos);
    std::string header = result.out.substr(0, firstLineEnd);
    for (const char* column : {"PID", "CPU %", "MEMORY", "READ/s", "WRITE/s", "IMPACT", "NAME"}) {
        EXPECT_NE(header.find(column), std::string::npos) << column << " missing from: " << header;
    }
    EXPECT_GT(std::count(result.out.begin(), result.out.end(), '\n'), 2);
}

TEST_F(ProcessRatesCommand, IntervalMustBePositive) {
    EXPECT_NE(runOrvantine("processes --rates --interval 0").status, 0);
    EXPECT_NE(runOrvantine("processes --rates --interval -1").status, 0);
}

TEST_F(ProcessRatesCommand, IntervalNeedsRates) {
    EXPECT_NE(runOrvantine("processes --interval 2").status, 0);
}

}  // namespace
}  // namespace orv
