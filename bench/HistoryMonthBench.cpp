// A simulated month of recording: 30 days of minutes, each with every metric
// and ~300 apps, written to a fresh history file as the recorder writes them
// (one transaction a minute, pruning once an hour). Prints the file's size
// after the month beside the 100 MB budget, and what recording costs: the
// gathering of one snapshot and the writing of one minute, as a share of
// one core at one sample a second.
//   HistoryMonthBench [apps=300] [days=30]
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <unistd.h>

#include "cli/HistoryRecorder.h"
#include "cli/HistoryStore.h"

using namespace orv;
using namespace orv::cli;

namespace {

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

Snapshot snapshotWith(size_t apps, std::mt19937& random) {
    Snapshot s;
    s.interval = Duration::seconds(1);
    s.system.cpu.totalPercent = 30;
    s.system.memory.usedBytes = 8ull << 30;
    std::uniform_real_distribution<double> share(0, 5);
    for (size_t i = 0; i < apps; ++i) {
        AppAggregate a;
        a.app = AppIdentity{"org.example.app" + std::to_string(i), "App " + std::to_string(i),
                            "org.example.app" + std::to_string(i), "org.example.app" + std::to_string(i),
                            AppIdentity::Kind::app};
        a.cpuPercent = share(random);
        a.memoryBytes = 100ull << 20;
        a.diskWriteBPS = share(random) * 1000;
        a.netInBPS = share(random) * 100;
        a.netOutBPS = share(random) * 100;
        a.energyImpact = share(random);
        s.apps.push_back(std::move(a));
    }
    return s;
}

}  // namespace

int main(int argc, char** argv) {
    size_t apps = argc > 1 ? size_t(std::atoi(argv[1])) : 300;
    int64_t days = argc > 2 ? std::atoll(argv[2]) : 30;
    auto dir = std::filesystem::temp_directory_path() / ("orvantine-history-bench-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    auto path = dir / "history.sqlite";
    std::mt19937 random(42);
    Snapshot snapshot = snapshotWith(apps, random);

    // Gathering: what each second's snapshot costs the recorder.
    double gatherSeconds = 0;
    {
        HistoryStore scratch(dir / "scratch.sqlite", HistoryStore::Access::record);
        HistoryRecorder recorder(scratch, [](int64_t) { return int64_t(0); });
        constexpr int samples = 59;  // within one minute: no write
        double before = cpuSeconds();
        for (int i = 0; i < samples; ++i) {
            snapshot.at = Date::fromUnixSeconds(double(1'700'000'040 + i));
            recorder.observe(snapshot);
        }
        gatherSeconds = (cpuSeconds() - before) / samples;
    }

    // The month: one minute per transaction, each minute with every app.
    HistoryStore store(path, HistoryStore::Access::record);
    const int64_t start = 1'700'000'040 - days * 86400;
    const int64_t minutes = days * 1440;
    HistoryMinute minute;
    for (const auto& [metric, value] : metricFigures(snapshot)) {
        for (int i = 0; i < 60; ++i) minute.metrics[metric].add(value);
    }
    for (const auto& a : snapshot.apps) {
        auto& entry = minute.apps[a.app.id];
        entry.first = a.app;
        for (int i = 0; i < 60; ++i) entry.second.add(a, 1.0, 8);
    }
    auto wallStart = std::chrono::steady_clock::now();
    double cpuStart = cpuSeconds();
    for (int64_t m = 0; m < minutes; ++m) {
        minute.start = start + m * 60;
        store.write(minute);
        if (m % 60 == 59) store.prune(minute.start + 60);
    }
    double writeCPU = cpuSeconds() - cpuStart;
    double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
    store.prune(start + minutes * 60);

    auto size = [&](const char* suffix) {
        std::error_code e;
        auto p = path;
        p += suffix;
        auto s = std::filesystem::file_size(p, e);
        return e ? 0.0 : double(s);
    };
    double database = size(""), wal = size("-wal");
    double perMinute = writeCPU / double(minutes);
    double share = (gatherSeconds * 60 + perMinute) / 60 * 100;
    std::printf("history month: %zu apps, %lld days, %lld minutes written in %.1f s (%.1f s CPU)\n", apps,
                (long long)days, (long long)minutes, wall, writeCPU);
    std::printf("  file %.1f MB + WAL %.1f MB   (budget: 100 MB)\n", database / 1e6, wal / 1e6);
    std::printf("  one minute's write: %.2f ms CPU; one snapshot's gathering: %.1f us CPU\n", perMinute * 1e3,
                gatherSeconds * 1e6);
    std::printf("  recording at 1 sample/s: %.3f %% of one core   (budget: 10 %% of the monitor's own CPU;\n"
                "  compare SnapshotBench's pass at the same scale)\n",
                share);
    std::printf("  integrity: %s\n", store.integrityCheck().c_str());
    std::filesystem::remove_all(dir);
    return 0;
}
