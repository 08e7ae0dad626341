#include "support/CommandRunner.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include <array>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "support/TempDir.h"

namespace orv::test {

std::filesystem::path orvantineProgram() {
    return std::filesystem::path(ORVANTINE_BINARY_DIR) / "cli" / "orvantine";
}

CommandResult runOrvantine(const std::string& arguments) {
    TempDir dir;
    const auto errPath = dir.path() / "stderr";
    CommandResult result;
    std::string command = orvantineProgram().string() + " " + arguments + " 2>" + errPath.string();
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    std::array<char, 65536> buffer{};
    size_t n = 0;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) result.out.append(buffer.data(), n);
    int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream in(errPath);
    std::stringstream text;
    text << in.rdbuf();
    result.err = text.str();
    return result;
}

BurnedRun runWhileBurningACore(const std::string& arguments, const char* burnerName) {
    BurnedRun run;
    run.burner = fork();
    if (run.burner < 0) return run;
    if (run.burner == 0) {
        setsid();  // its own scheduling group where the kernel groups by session
        prctl(PR_SET_NAME, burnerName);
        volatile uint64_t spin = 0;
        for (;;) spin = spin + 1;
    }
    clockid_t clock{};
    clock_getcpuclockid(run.burner, &clock);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    double cpuBefore = cpuClockSeconds(clock);
    auto started = std::chrono::steady_clock::now();
    run.result = runOrvantine(arguments);
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    run.coresReceived = (cpuClockSeconds(clock) - cpuBefore) / seconds;
    kill(run.burner, SIGKILL);
    waitpid(run.burner, nullptr, 0);
    return run;
}

}  // namespace orv::test
