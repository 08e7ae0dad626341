// The cost of one full process pass, per process: first pass (cold caches,
// every file opened) and warm passes (descriptors kept, names cached),
// beside psutil's same pass on the same machine in the same run.
//
//   ProcessSamplerBench [--idle N] [--passes N]
//
// --idle N starts N sleeping children first, to measure at scale.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "Sampling/ProcessSampler.h"
#include "bench/BenchSupport.h"

using Clock = std::chrono::steady_clock;

using orv::bench::median;
using orv::bench::startIdleChildren;

namespace {

// psutil's warm pass over the same fields, microseconds per process.
double psutilMicrosecondsPerProcess(int passes) {
    std::string script =
        "import psutil, time, statistics\n"
        "attrs = ['pid','ppid','uids','name','exe','create_time','cpu_times','memory_info','io_counters',"
        "'num_ctx_switches']\n"
        "def one():\n"
        "    return sum(1 for _ in psutil.process_iter(attrs))\n"
        "one()\n"
        "samples = []\n"
        "for _ in range(" + std::to_string(passes) + "):\n"
        "    t = time.perf_counter(); n = one(); samples.append((time.perf_counter() - t) / n * 1e6)\n"
        "print(statistics.median(samples))\n";
    // Debian's own interpreter has python3-psutil; another python3 first on
    // PATH may not.
    std::string command = "/usr/bin/python3 -c \"" + script + "\" 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return 0;
    std::array<char, 128> line{};
    double value = 0;
    if (fgets(line.data(), line.size(), pipe)) value = std::atof(line.data());
    pclose(pipe);
    return value;
}

}  // namespace

int main(int argc, char** argv) {
    int idle = 0, passes = 30;
    for (int i = 1; i + 1 < argc; ++i) {
        if (!std::strcmp(argv[i], "--idle")) idle = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--passes")) passes = std::max(3, std::atoi(argv[++i]));
    }
    auto children = startIdleChildren(size_t(std::max(0, idle)));
    usleep(200'000);  // let the children reach pause()

    std::vector<double> first, warm;
    size_t processes = 0;
    for (int i = 0; i < 5; ++i) {
        orv::ProcessSampler sampler;
        auto t0 = Clock::now();
        auto readings = sampler.sampleNow();
        first.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count() / double(readings.size()));
    }
    orv::ProcessSampler sampler;
    sampler.sampleNow();
    for (int i = 0; i < passes; ++i) {
        auto t0 = Clock::now();
        auto readings = sampler.sampleNow();
        processes = readings.size();
        warm.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count() / double(readings.size()));
    }
    double psutil = psutilMicrosecondsPerProcess(std::max(5, passes / 3));

    orv::bench::stopChildren(children);

    std::printf("process pass at %zu processes (%d idle children started)\n", processes, idle);
    std::printf("  first pass        %8.2f us/process\n", median(first));
    std::printf("  warm pass         %8.2f us/process\n", median(warm));
    if (psutil > 0) {
        std::printf("  psutil warm pass  %8.2f us/process\n", psutil);
        std::printf("  ratio             %8.2f (ours / psutil; goal <= 0.20)\n", median(warm) / psutil);
    } else {
        std::printf("  psutil            unavailable (install python3-psutil)\n");
    }
    return 0;
}
