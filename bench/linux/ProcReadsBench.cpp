// What a steady process pass reads from proc, per process, and what it
// costs: which files the port re-reads for processes that slept through
// the pass and for those that ran.
//
//   ProcReadsBench [--idle N] [--threads T] [--passes N]
//
// --idle N starts N sleeping children (T threads each, default 1) first.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "Sampling/ProcessSampler.h"
#include "Sampling/linux/LinuxProcessTablePort.h"
#include "bench/BenchSupport.h"

using Clock = std::chrono::steady_clock;

int main(int argc, char** argv) {
    int idle = 0, threads = 1, passes = 20;
    for (int i = 1; i + 1 < argc; ++i) {
        if (!std::strcmp(argv[i], "--idle")) idle = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--threads")) threads = std::max(1, std::atoi(argv[++i]));
        else if (!std::strcmp(argv[i], "--passes")) passes = std::max(1, std::atoi(argv[++i]));
    }
    auto children = orv::bench::startIdleChildren(size_t(std::max(0, idle)), size_t(threads));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));

    auto port = std::make_unique<orv::LinuxProcessTablePort>(orv::LinuxProcessTablePort::Options{});
    auto* raw = port.get();
    orv::ProcessSampler sampler(std::move(port));
    sampler.sampleNow();
    auto before = raw->readCounts();
    std::vector<double> micros;
    size_t processes = 0;
    for (int i = 0; i < passes; ++i) {
        // A pause as between real passes, so that what runs can run.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        auto t0 = Clock::now();
        processes = sampler.sampleNow().size();
        micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
    }
    auto after = raw->readCounts();
    orv::bench::stopChildren(children);

    double perPass = double(passes) * double(std::max<size_t>(processes, 1));
    std::printf("steady pass at %zu processes (%d idle children, %d thread%s each), %d passes\n", processes, idle,
                threads, threads == 1 ? "" : "s", passes);
    std::printf("  time             %8.2f us/process\n", orv::bench::median(micros) / double(processes));
    std::printf("  reads/process    schedstat %.2f  thread schedstat %.2f  stat %.2f  statm %.2f  io %.2f  owner %.2f\n",
                double(after.schedstat - before.schedstat) / perPass,
                double(after.threadSchedstat - before.threadSchedstat) / perPass,
                double(after.stat - before.stat) / perPass, double(after.statm - before.statm) / perPass,
                double(after.io - before.io) / perPass, double(after.owner - before.owner) / perPass);
    std::printf("  listings/pass    proc %.2f  task %.2f\n", double(after.listings - before.listings) / passes,
                double(after.threadListings - before.threadListings) / passes);
    return 0;
}
