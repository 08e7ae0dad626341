// Cost of one sample of the four system samplers together (CPU, memory,
// disk counters with the cheap per-volume free count, network), between
// volume refreshes, and of each alone. Goal: at most 50 µs per sample.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "Sampling/CPUSampler.h"
#include "Sampling/DiskSampler.h"
#include "Sampling/MemorySampler.h"
#include "Sampling/NetworkSampler.h"

namespace {

using namespace orv;

// The samplers are made once and warmed, so the descriptors, buffers, the
// volume listing and its baselines are in place as in steady sampling.
struct Samplers {
    CPUSampler cpu;
    MemorySampler memory;
    DiskSampler disk;
    NetworkSampler network;

    Samplers() {
        cpu.sampleNow();
        memory.sampleNow();
        disk.sampleNow();
        network.sampleNow();
    }
};

Samplers& samplers() {
    static Samplers shared;
    return shared;
}

void allTogether(benchmark::State& state) {
    auto& s = samplers();
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.cpu.sampleNow());
        benchmark::DoNotOptimize(s.memory.sampleNow());
        benchmark::DoNotOptimize(s.disk.sampleNow());
        benchmark::DoNotOptimize(s.network.sampleNow());
    }
}
BENCHMARK(allTogether)->Name("SystemSamplers/all four")->Unit(benchmark::kMicrosecond);

void cpuOnly(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(samplers().cpu.sampleNow());
}
BENCHMARK(cpuOnly)->Name("SystemSamplers/cpu")->Unit(benchmark::kMicrosecond);

void memoryOnly(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(samplers().memory.sampleNow());
}
BENCHMARK(memoryOnly)->Name("SystemSamplers/memory")->Unit(benchmark::kMicrosecond);

void diskOnly(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(samplers().disk.sampleNow());
}
BENCHMARK(diskOnly)->Name("SystemSamplers/disk")->Unit(benchmark::kMicrosecond);

void networkOnly(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(samplers().network.sampleNow());
}
BENCHMARK(networkOnly)->Name("SystemSamplers/network")->Unit(benchmark::kMicrosecond);

// The median of many single samples, printed as the one figure to compare
// with the goal (the benchmark means above include the odd slow sample).
double medianMicrosecondsPerSample(int samples) {
    auto& s = samplers();
    std::vector<double> times;
    times.reserve(size_t(samples));
    for (int i = 0; i < samples; ++i) {
        auto start = std::chrono::steady_clock::now();
        s.cpu.sampleNow();
        s.memory.sampleNow();
        s.disk.sampleNow();
        s.network.sampleNow();
        times.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    std::nth_element(times.begin(), times.begin() + long(times.size() / 2), times.end());
    return times[times.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::printf("system samplers, one sample of all four: %.1f us median (goal <= 50 us)\n",
                medianMicrosecondsPerSample(2000));
    return 0;
}
