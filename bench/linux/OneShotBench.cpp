// A one-shot process listing end to end, as a user runs it, beside ps over
// the same fields: `orvantine processes --json` against
// `ps -eo pid,ppid,euid,comm,lstart,time,rss`, wall and CPU time of the
// whole program (start-up, the pass, the output and the exit), at each
// machine size given. Then the resident size of `orvantine top` beside
// btop's and htop's, each at a one-second refresh in its own tmux pane.
//
//   OneShotBench [--processes N]... [--runs R] [--program PATH]
//
// --processes N starts sleeping children until N processes are live.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/BenchSupport.h"

using namespace orv::bench;

namespace {

struct Timing {
    double wallMs = 0;
    double cpuMs = 0;
};

// One run of `argv` with its output thrown away.
Timing timed(const std::vector<std::string>& argv) {
    auto started = Clock::now();
    pid_t child = fork();
    if (child == 0) {
        int null = ::open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    Timing t;
    t.wallMs = std::chrono::duration<double, std::milli>(Clock::now() - started).count();
    t.cpuMs = milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) t.wallMs = t.cpuMs = -1;
    return t;
}

Timing medianOf(const std::vector<std::string>& argv, int runs) {
    timed(argv);  // warm the page cache
    std::vector<double> wall, cpu;
    for (int i = 0; i < runs; ++i) {
        auto t = timed(argv);
        if (t.wallMs < 0) return t;
        wall.push_back(t.wallMs);
        cpu.push_back(t.cpuMs);
    }
    return {median(wall), median(cpu)};
}

// The resident size, in MB, of a program left running for a few seconds in
// a detached tmux pane; negative when it cannot be run.
double residentMB(const std::string& command) {
    if (run("command -v tmux").empty()) return -1;
    run("tmux kill-session -t orvrss 2>/dev/null; tmux new-session -d -s orvrss -x 200 -y 50 '" + command +
        "' 2>/dev/null");
    std::this_thread::sleep_for(std::chrono::seconds(5));
    auto pidText = run("tmux list-panes -t orvrss -F '#{pane_pid}' 2>/dev/null");
    pid_t pid = pid_t(std::atoi(pidText.c_str()));
    double mb = -1;
    if (pid > 0) {
        std::ifstream status("/proc/" + std::to_string(pid) + "/status");
        std::string line;
        while (std::getline(status, line)) {
            if (line.rfind("VmRSS:", 0) == 0) mb = std::atof(line.c_str() + 6) / 1024;
        }
    }
    run("tmux kill-session -t orvrss 2>/dev/null");
    return mb;
}

// "`label` N MB": what `executable` holds resident when started by
// `command`, or why there is no figure, so that a missing tool never reads
// as a size.
std::string residentText(const std::string& label, const std::string& executable, const std::string& command) {
    if (run("command -v '" + executable + "'").empty()) return label + " not installed";
    const double mb = residentMB(command);
    if (mb < 0) return label + " not measured (needs tmux)";
    char size[32];
    std::snprintf(size, sizeof size, "%.1f MB", mb);
    return label + " " + size;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<size_t> sizes;
    int runs = 9;
    std::string program = (std::filesystem::path(argv[0]).parent_path().parent_path() / "cli" / "orvantine").string();
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--processes" && i + 1 < argc) sizes.push_back(size_t(std::atol(argv[++i])));
        else if (arg == "--runs" && i + 1 < argc) runs = std::max(3, std::atoi(argv[++i]));
        else if (arg == "--program" && i + 1 < argc) program = argv[++i];
        else {
            std::fprintf(stderr, "usage: %s [--processes N]... [--runs R] [--program PATH]\n", argv[0]);
            return 2;
        }
    }
    if (sizes.empty()) sizes = {1000, 2000};
    std::printf("ours reads its one pass on %u reader threads: its CPU time counts every thread\n",
                std::min(4u, std::max(1u, std::thread::hardware_concurrency())));

    // Wall time is the goal; CPU time is printed beside it because on a
    // machine busy with other work the wall time of both mostly measures
    // waiting for a core, and because ours reads on several threads: that
    // shortens the wall time, and may add a little CPU time.
    std::printf("%-10s %12s %12s %12s %12s %12s %12s\n", "processes", "ours wall ms", "ours CPU ms", "ps wall ms",
                "ps CPU ms", "wall ps/ours", "CPU ps/ours");
    std::vector<pid_t> children;
    for (size_t size : sizes) {
        const size_t live = liveProcessCount();
        if (size > live) {
            auto more = startIdleChildren(size - live);
            children.insert(children.end(), more.begin(), more.end());
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        }
        auto ours = medianOf({program, "processes", "--json"}, runs);
        auto ps = medianOf({"ps", "-eo", "pid,ppid,euid,comm,lstart,time,rss"}, runs);
        std::printf("%-10zu %12.1f %12.1f %12.1f %12.1f %11.2fx %11.2fx (goal: wall >= 1.80x)\n", liveProcessCount(),
                    ours.wallMs, ours.cpuMs, ps.wallMs, ps.cpuMs, ours.wallMs > 0 ? ps.wallMs / ours.wallMs : 0.0,
                    ours.cpuMs > 0 ? ps.cpuMs / ours.cpuMs : 0.0);
    }

    // Resident size at the last machine size, after a few refreshes.
    const std::string ours = residentText("orvantine top", program, "exec " + program + " top");
    auto config = std::filesystem::temp_directory_path() / "orvantine-bench-btop";
    std::filesystem::create_directories(config / "btop");
    std::ofstream(config / "btop" / "btop.conf") << "update_ms = 1000\n";
    const std::string btop = residentText("btop", "btop", "exec env XDG_CONFIG_HOME=" + config.string() + " btop --utf-force");
    const std::string htop = residentText("htop", "htop", "exec htop -d 10");
    std::printf("resident size at %zu processes: %s, %s, %s (goal: at most btop's)\n", liveProcessCount(),
                ours.c_str(), btop.c_str(), htop.c_str());
    stopChildren(children);
    return 0;
}
