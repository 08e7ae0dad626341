#pragma once

// Small pieces the benchmark programs share.

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "Sampling/ProcessSampler.h"

namespace orv::bench {

using Clock = std::chrono::steady_clock;

// Starts `count` children that sleep until killed, to measure a pass at the
// scale of a busy machine; stops early if fork fails. With `threads` above
// one each child sleeps in that many threads, as most desktop programs do.
inline std::vector<pid_t> startIdleChildren(size_t count, size_t threads = 1) {
    std::vector<pid_t> children;
    for (size_t i = 0; i < count; ++i) {
        pid_t child = fork();
        if (child == 0) {
            for (size_t t = 1; t < threads; ++t) {
                pthread_t thread;
                pthread_attr_t small;
                pthread_attr_init(&small);
                pthread_attr_setstacksize(&small, 64 * 1024);
                pthread_create(&thread, &small, [](void*) -> void* { for (;;) pause(); }, nullptr);
            }
            for (;;) pause();
        }
        if (child < 0) break;
        children.push_back(child);
    }
    return children;
}

inline void stopChildren(std::vector<pid_t>& children) {
    for (pid_t child : children) kill(child, SIGKILL);
    for (pid_t child : children) waitpid(child, nullptr, 0);
    children.clear();
}

inline double median(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

inline size_t liveProcessCount() {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const auto name = entry.path().filename().string();
        count += !name.empty() && std::all_of(name.begin(), name.end(), ::isdigit);
    }
    return count;
}

inline double milliseconds(const timeval& t) { return double(t.tv_sec) * 1e3 + double(t.tv_usec) / 1e3; }

// This process's CPU time, user + system and user alone, in milliseconds.
inline std::pair<double, double> processCPUMilliseconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return {milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime), milliseconds(usage.ru_utime)};
}


// CPU seconds (user + system) of one run of the command, and its wall time.
inline std::pair<double, double> commandCPU(const std::string& program, int seconds) {
    auto started = Clock::now();
    pid_t child = fork();
    if (child == 0) {
        int null = ::open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        std::string count = std::to_string(seconds);
        execl(program.c_str(), program.c_str(), "snapshot", "--json", "--count", count.c_str(), "--interval", "1",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    double wall = std::chrono::duration<double>(Clock::now() - started).count();
    double cpu = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                 double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return {-1, wall};
    return {cpu, wall};
}

inline std::string run(const std::string& command) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return out;
    char buffer[4096];
    size_t n = 0;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    pclose(pipe);
    return out;
}

// A process's CPU time (every thread, user + system) in seconds, read by
// our own sampler; negative when the process is not there.
inline double processCPUSeconds(pid_t pid) {
    orv::ProcessSampler sampler;  // used on this thread only
    for (const auto& reading : sampler.sampleNow()) {
        if (reading.pid == pid) return reading.cpuTime.toSeconds();
    }
    return -1;
}

// A process's resident size in bytes (VmRSS), 0 when it is not there.
inline double residentBytes(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) return std::atof(line.c_str() + 6) * 1024;
    }
    return 0;
}

// What a live view cost over the measured seconds: its CPU share of one
// core and its resident size (the median of readings four times a second,
// since a view holds more while it builds a frame than between frames) and
// the largest reading; negative share when it could not be run.
struct ViewCost {
    double share = -1;
    double resident = 0;
    double largestResident = 0;
};

// Waits `seconds`, reading the resident size of `pid` four times a second
// into `cost`.
inline void watchResident(pid_t pid, int seconds, ViewCost& cost) {
    std::vector<double> readings;
    auto end = Clock::now() + std::chrono::seconds(seconds);
    while (Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
        if (double bytes = residentBytes(pid); bytes > 0) readings.push_back(bytes);
    }
    cost.resident = median(readings);
    cost.largestResident = readings.empty() ? 0 : *std::max_element(readings.begin(), readings.end());
}

// btop at a one-second refresh in a detached tmux session, over `seconds`
// after a two-second start.
inline ViewCost btopCost(int seconds) {
    if (run("command -v btop").empty() || run("command -v tmux").empty()) return {};
    // btop takes its refresh from its configuration file only: a private
    // one sets the same one-second refresh as ours.
    auto config = std::filesystem::temp_directory_path() / "orvantine-bench-btop";
    std::filesystem::create_directories(config / "btop");
    std::ofstream(config / "btop" / "btop.conf") << "update_ms = 1000\n";
    run("tmux kill-session -t orvbench 2>/dev/null; tmux new-session -d -s orvbench -x 200 -y 50 "
        "'exec env XDG_CONFIG_HOME=" + config.string() + " btop --utf-force' 2>/dev/null");
    std::this_thread::sleep_for(std::chrono::seconds(2));
    auto pidText = run("tmux list-panes -t orvbench -F '#{pane_pid}' 2>/dev/null");
    pid_t pid = pid_t(std::atoi(pidText.c_str()));
    if (pid <= 0) return {};
    ViewCost cost;
    double before = processCPUSeconds(pid);
    auto started = Clock::now();
    watchResident(pid, seconds, cost);
    double after = processCPUSeconds(pid);
    double wall = std::chrono::duration<double>(Clock::now() - started).count();
    run("tmux kill-session -t orvbench 2>/dev/null");
    if (before < 0 || after < 0) return {};
    cost.share = (after - before) / wall * 100;
    return cost;
}

// btop's CPU share alone; negative when it cannot be run.
inline double btopShare(int seconds) { return btopCost(seconds).share; }

}  // namespace orv::bench
