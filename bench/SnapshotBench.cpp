// The cost of the whole sampling pass (process readings, system sample,
// rates, app rule, aggregates), in process, and the CPU use of the command
// a script would run, `orvantine snapshot --json` at one snapshot a second,
// measured from outside with getrusage of the child. With --btop, btop is
// run for the same time in a detached tmux session at the same refresh, and
// its CPU time read from its proc entry, for comparison.
//
//   SnapshotBench [--processes N]... [--threads T] [--passes N] [--seconds S] [--program PATH] [--btop]
//
// --processes N starts sleeping children until about N processes exist, and
// may be given more than once (default: 600 and 2000). --threads T gives
// each child T sleeping threads (default 1), as most desktop programs have.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Sampling/ProcessSampler.h"
#include "bench/BenchSupport.h"
#include "Sampling/SnapshotBuilder.h"
#include "core/JsonCoding.h"

using Clock = std::chrono::steady_clock;

using orv::bench::btopShare;
using orv::bench::commandCPU;
using orv::bench::liveProcessCount;
using orv::bench::median;
using orv::bench::processCPUMilliseconds;
using orv::bench::startIdleChildren;
using orv::bench::stopChildren;

namespace {


struct PassFigures {
    double firstMs = 0;
    double warmMedianMs = 0;
    double encodeMedianMs = 0;
    double cpuPerPassMs = 0;
    double userPerPassMs = 0;
    size_t processes = 0;
    size_t apps = 0;
};


PassFigures measurePasses(int passes) {
    PassFigures figures;
    auto builder = std::make_unique<orv::SnapshotBuilder>(orv::SnapshotBuilder::machineParts());
    auto started = Clock::now();
    builder->build();
    figures.firstMs = std::chrono::duration<double, std::milli>(Clock::now() - started).count();
    std::vector<double> warm, encode;
    auto [cpuBefore, userBefore] = processCPUMilliseconds();
    for (int i = 0; i < passes; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        auto t0 = Clock::now();
        auto snapshot = builder->build();
        auto t1 = Clock::now();
        auto line = orv::json::encode(snapshot);
        auto t2 = Clock::now();
        warm.push_back(std::chrono::duration<double, std::milli>(t1 - t0).count());
        encode.push_back(std::chrono::duration<double, std::milli>(t2 - t1).count());
        figures.processes = snapshot.processes.size();
        figures.apps = snapshot.apps.size();
    }
    // Sleeping in between costs nothing, so this is the passes' own CPU
    // (every thread: the executor does the reading).
    auto [cpuAfter, userAfter] = processCPUMilliseconds();
    figures.cpuPerPassMs = (cpuAfter - cpuBefore) / passes;
    figures.userPerPassMs = (userAfter - userBefore) / passes;
    figures.warmMedianMs = median(warm);
    figures.encodeMedianMs = median(encode);
    return figures;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<size_t> sizes;
    int passes = 15, seconds = 20, threads = 1;
    bool btop = false;
    std::string program = (std::filesystem::path(argv[0]).parent_path().parent_path() / "cli" / "orvantine").string();
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--processes" && i + 1 < argc) sizes.push_back(size_t(std::atol(argv[++i])));
        else if (arg == "--passes" && i + 1 < argc) passes = std::atoi(argv[++i]);
        else if (arg == "--threads" && i + 1 < argc) threads = std::max(1, std::atoi(argv[++i]));
        else if (arg == "--seconds" && i + 1 < argc) seconds = std::atoi(argv[++i]);
        else if (arg == "--program" && i + 1 < argc) program = argv[++i];
        else if (arg == "--btop") btop = true;
        else {
            std::fprintf(stderr,
                         "usage: %s [--processes N]... [--threads T] [--passes N] [--seconds S] [--program PATH] "
                         "[--btop]\n",
                         argv[0]);
            return 2;
        }
    }
    if (sizes.empty()) sizes = {600, 2000};

    std::printf("%-10s %10s %10s %12s %10s %10s %8s %12s %10s\n", "processes", "first ms", "pass ms", "pass CPU ms",
                "user ms", "json ms", "apps", "command %", "btop %");
    for (size_t size : sizes) {
        size_t live = liveProcessCount();
        auto children = startIdleChildren(size > live ? size - live : 0, size_t(threads));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        PassFigures figures = measurePasses(passes);
        auto [cpu, wall] = commandCPU(program, seconds);
        double share = cpu < 0 ? -1 : cpu / wall * 100;
        double btopPercent = btop ? btopShare(seconds) : -1;
        std::printf("%-10zu %10.2f %10.2f %12.2f %10.2f %10.2f %8zu %12s %10s\n", figures.processes, figures.firstMs,
                    figures.warmMedianMs, figures.cpuPerPassMs, figures.userPerPassMs, figures.encodeMedianMs,
                    figures.apps,
                    share < 0 ? "failed" : (std::to_string(share).substr(0, 5)).c_str(),
                    btopPercent < 0 ? "-" : (std::to_string(btopPercent).substr(0, 5)).c_str());
        std::fflush(stdout);
        stopChildren(children);
    }
    std::printf("command %%: CPU time (user + system) of `orvantine snapshot --json --count %d --interval 1` over its "
                "wall time, as a share of one core; it includes start-up and the baseline pass.\n",
                seconds);
    return 0;
}
