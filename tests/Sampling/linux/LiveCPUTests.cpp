#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <time.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "Sampling/CPUSampler.h"

namespace orv {
namespace {

// The per-core array holds the online cores in order of their numbers, so
// a core's position is its rank among the online cores.
std::optional<size_t> positionOf(int core) {
    cpu_set_t online;
    CPU_ZERO(&online);
    if (sched_getaffinity(0, sizeof online, &online) != 0 || !CPU_ISSET(core, &online)) return std::nullopt;
    size_t position = 0;
    for (int c = 0; c < core; ++c) position += CPU_ISSET(c, &online) ? 1 : 0;
    return position;
}

TEST(LiveCPU, BurnedCoreShowsInThePerCoreFigures) {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    ASSERT_EQ(sched_getaffinity(0, sizeof allowed, &allowed), 0);
    int core = -1;
    for (int c = CPU_SETSIZE - 1; c >= 0; --c) {
        if (CPU_ISSET(c, &allowed)) {
            core = c;
            break;
        }
    }
    ASSERT_GE(core, 0);
    auto position = positionOf(core);
    ASSERT_TRUE(position);
    long onlineCores = sysconf(_SC_NPROCESSORS_ONLN);
    if (CPU_COUNT(&allowed) != onlineCores) GTEST_SKIP() << "this process may not use every online core";

    CPUSampler sampler(makeCPUPort("/"));
    std::atomic<bool> stop{false};
    std::atomic<bool> pinned{false};
    std::thread burner([&] {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(core, &one);
        pinned = pthread_setaffinity_np(pthread_self(), sizeof one, &one) == 0;
        volatile uint64_t spin = 0;
        while (!stop.load(std::memory_order_relaxed)) spin = spin + 1;
    });
    clockid_t burnerClock{};
    ASSERT_EQ(pthread_getcpuclockid(burner.native_handle(), &burnerClock), 0);
    auto cpuSeconds = [&] {
        timespec t{};
        clock_gettime(burnerClock, &t);
        return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
    };
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    sampler.sampleNow();
    const double cpuBefore = cpuSeconds();
    const auto wallBefore = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    auto stats = sampler.sampleNow();
    const double coreShare =
        (cpuSeconds() - cpuBefore) / std::chrono::duration<double>(std::chrono::steady_clock::now() - wallBefore).count();
    stop = true;
    burner.join();

    ASSERT_TRUE(pinned) << "the burner could not be pinned to core " << core;
    // Other work on that core (a parallel test run, a build) takes its share
    // from the burner too; the check needs the core to itself.
    if (coreShare < 0.95) {
        GTEST_SKIP() << "this machine is too busy to leave core " << core << " to the burner (it got " << coreShare
                     << " of it)";
    }
    ASSERT_EQ(stats.perCorePercent.size(), size_t(onlineCores));
    EXPECT_GT(stats.perCorePercent[*position], 90.0);
    EXPECT_GT(stats.totalPercent, 100.0 / double(onlineCores) * 0.9);
}

// The machine-wide busy share as mpstat and top state it, from the "cpu"
// line: user + nice + system + irq + softirq over every column but the
// guest ones (already inside user).
struct AllCores {
    uint64_t busy = 0;
    uint64_t total = 0;
};

AllCores readAllCores() {
    std::ifstream file("/proc/stat");
    std::string name;
    uint64_t user, nice, system, idle, iowait, irq, softirq, steal;
    file >> name >> user >> nice >> system >> idle >> iowait >> irq >> softirq >> steal;
    return {user + nice + system + irq + softirq, user + nice + system + idle + iowait + irq + softirq + steal};
}

TEST(LiveCPU, TotalAgreesWithMpstatOverTheSameInterval) {
    CPUSampler sampler(makeCPUPort("/"));
    std::atomic<bool> stop{false};
    // Half a core of work so that the figure is not just idle.
    std::thread worker([&] {
        while (!stop) {
            const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(5);
            volatile uint64_t spin = 0;
            while (std::chrono::steady_clock::now() < until) spin = spin + 1;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    });
    const auto before = readAllCores();
    sampler.sampleNow();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    auto stats = sampler.sampleNow();
    const auto after = readAllCores();
    stop = true;
    worker.join();
    const double mpstat = double(after.busy - before.busy) / double(after.total - before.total) * 100;
    // The two readings are microseconds apart at either end of 1.5 s: a few
    // ticks at most.
    EXPECT_NEAR(stats.totalPercent, mpstat, 3.0);
}

}  // namespace
}  // namespace orv
