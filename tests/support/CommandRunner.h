#pragma once

#include <gtest/gtest.h>
#include <time.h>

#include <filesystem>
#include <string>

namespace orv::test {

// The `orvantine` program of this build, run as a user runs it.
struct CommandResult {
    int status = -1;  // the exit status, or -1 when it did not exit normally
    std::string out;  // standard output
    std::string err;  // standard error (log lines land here without a journal)
};

std::filesystem::path orvantineProgram();

// `orvantine <arguments>` run while a child named `burnerName` spins on one
// core; the child is gone when this returns. `coresReceived` is the CPU the
// kernel gave the child over the run, in cores: a busy machine gives less.
struct BurnedRun {
    CommandResult result;
    pid_t burner = -1;
    double coresReceived = 0;
};
BurnedRun runWhileBurningACore(const std::string& arguments, const char* burnerName);

// Runs `orvantine <arguments>` through the shell and waits for it.
CommandResult runOrvantine(const std::string& arguments);

// Tests of the command: skipped, saying where it was looked for, when the
// program is not built.
class OrvantineCommandTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(orvantineProgram())) {
            GTEST_SKIP() << "the orvantine program is not built at " << orvantineProgram();
        }
    }
};

// Seconds on a CPU clock (clock_getcpuclockid of a child, say).
inline double cpuClockSeconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

}  // namespace orv::test
