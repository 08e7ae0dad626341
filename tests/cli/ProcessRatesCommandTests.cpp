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
#include "core/ProcessSample.h"

namespace orv {
namespace {

std::filesystem::path program() { return std::filesystem::path(ORVANTINE_BINARY_DIR) / "cli" / "orvantine"; }

struct Run {
    int status = -1;
    std::string output;
};

Run run(const std::string& arguments) {
    Run result;
    std::string command = program().string() + " " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    std::array<char, 65536> buffer{};
    size_t n = 0;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) result.output.append(buffer.data(), n);
    int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

double cpuSeconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

class ProcessRatesCommand : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(program())) GTEST_SKIP() << "the orvantine program is not built at " << program();
    }
};

TEST_F(ProcessRatesCommand, JsonDecodesAsProcessSamplesBusiestFirst) {
    pid_t burner = fork();
    ASSERT_GE(burner, 0);
    if (burner == 0) {
        setsid();  // its own scheduling group where the kernel groups by session
        volatile uint64_t spin = 0;
        for (;;) spin = spin + 1;
    }
    clockid_t clock{};
    clock_getcpuclockid(burner, &clock);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    double cpuBefore = cpuSeconds(clock);
    auto started = std::chrono::steady_clock::now();
    auto result = run("processes --rates --json --interval 1");
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    double coresReceived = (cpuSeconds(clock) - cpuBefore) / seconds;
    kill(burner, SIGKILL);
    waitpid(burner, nullptr, 0);

    ASSERT_EQ(result.status, 0) << result.output;
    std::vector<ProcessSample> samples;
    ASSERT_NO_THROW(samples = json::decode<std::vector<ProcessSample>>(result.output)) << result.output.substr(0, 500);
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
    auto result = run("processes --rates --interval 0.2");
    ASSERT_EQ(result.status, 0) << result.output;
    auto firstLineEnd = result.output.find('\n');
    ASSERT_NE(firstLineEnd, std::string::npos);
    std::string header = result.output.substr(0, firstLineEnd);
    for (const char* column : {"PID", "CPU %", "MEMORY", "READ/s", "WRITE/s", "IMPACT", "NAME"}) {
        EXPECT_NE(header.find(column), std::string::npos) << column << " missing from: " << header;
    }
    EXPECT_GT(std::count(result.output.begin(), result.output.end(), '\n'), 2);
}

TEST_F(ProcessRatesCommand, IntervalMustBePositive) {
    EXPECT_NE(run("processes --rates --interval 0").status, 0);
    EXPECT_NE(run("processes --rates --interval -1").status, 0);
}

TEST_F(ProcessRatesCommand, IntervalNeedsRates) {
    EXPECT_NE(run("processes --interval 2").status, 0);
}

}  // namespace
}  // namespace orv
