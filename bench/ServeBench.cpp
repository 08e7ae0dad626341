// The CPU a Prometheus scrape of `orvantine serve` costs, beside a
// `snapshot --json` pass (the sampling plus its encoding) at the same
// machine size: both programs run for the same number of one-second
// intervals and their CPU is divided by it.
//
//   ServeBench [--processes N]... [--scrapes K] [--program PATH]
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "bench/BenchSupport.h"

using namespace orv::bench;

int main(int argc, char** argv) {
    std::vector<size_t> sizes;
    int scrapes = 15;
    std::string program = (std::filesystem::path(argv[0]).parent_path().parent_path() / "cli" / "orvantine").string();
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--processes" && i + 1 < argc) sizes.push_back(size_t(std::atol(argv[++i])));
        else if (arg == "--scrapes" && i + 1 < argc) scrapes = std::max(3, std::atoi(argv[++i]));
        else if (arg == "--program" && i + 1 < argc) program = argv[++i];
        else {
            std::fprintf(stderr, "usage: %s [--processes N]... [--scrapes K] [--program PATH]\n", argv[0]);
            return 2;
        }
    }
    if (sizes.empty()) sizes = {600, 2000};
    if (run("command -v curl").empty()) {
        std::printf("curl is not installed; nothing measured\n");
        return 0;
    }
    std::printf("%-10s %16s %18s %8s\n", "processes", "scrape CPU ms", "snapshot CPU ms", "ratio");
    std::vector<pid_t> children;
    for (size_t size : sizes) {
        const size_t live = liveProcessCount();
        if (size > live) {
            auto more = startIdleChildren(size - live);
            children.insert(children.end(), more.begin(), more.end());
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        }
        pid_t serve = fork();
        if (serve == 0) {
            execl(program.c_str(), program.c_str(), "serve", "--listen", "127.0.0.1:19899", static_cast<char*>(nullptr));
            _exit(127);
        }
        std::this_thread::sleep_for(std::chrono::seconds(2));
        run("curl -s -o /dev/null http://127.0.0.1:19899/metrics");  // the first scrape: its rates need a baseline
        const double before = processCPUSeconds(serve);
        for (int i = 0; i < scrapes; ++i) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            run("curl -s -o /dev/null http://127.0.0.1:19899/metrics");
        }
        const double scrapeMs = (processCPUSeconds(serve) - before) * 1000 / scrapes;
        kill(serve, SIGTERM);
        waitpid(serve, nullptr, 0);
        auto [cpu, wall] = commandCPU(program, scrapes);
        const double snapshotMs = cpu * 1000 / scrapes;
        std::printf("%-10zu %16.2f %18.2f %7.2fx (goal: scrape <= snapshot)\n", liveProcessCount(), scrapeMs, snapshotMs,
                    snapshotMs > 0 ? scrapeMs / snapshotMs : 0.0);
    }
    stopChildren(children);
    return 0;
}
