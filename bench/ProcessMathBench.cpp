// Cost of turning two passes of readings into process samples, at the
// process counts a busy desktop and a large server show.

#include <benchmark/benchmark.h>

#include "Sampling/EnergyCoefficients.h"
#include "Sampling/ProcessMath.h"

namespace {

using namespace orv;

struct Passes {
    ProcessMath::ReadingsByPID previous;
    std::vector<ProcessReading> current;
    ProcessMath::IdentitiesByPID identities;
    ProcessMath::GPUTimeByPID previousGPU, currentGPU;
};

Passes makePasses(int count) {
    Passes p;
    Date start = Date::fromUnixSeconds(1'700'000'000);
    for (int i = 0; i < count; ++i) {
        ProcessReading r;
        r.pid = 100 + i;
        r.name = "process-" + std::to_string(i % 300);
        r.startTime = start;
        r.cpuTime = Duration::milliseconds(1000 + i);
        r.diskReadBytes = uint64_t(i) << 12;
        r.diskWriteBytes = uint64_t(i) << 11;
        r.energyNJ = uint64_t(i) * 1'000'000;
        r.wakeups = uint64_t(i) * 10;
        r.isComplete = i % 10 != 0;
        p.previous.emplace(r.pid, r);
        r.cpuTime = r.cpuTime + Duration::milliseconds(i % 50);
        r.diskReadBytes += 4096;
        r.energyNJ += 500'000;
        p.current.push_back(r);
        // A third of the processes belong to a named app, a tenth use the GPU.
        if (i % 3 == 0) {
            p.identities.emplace(r.pid, AppIdentity{"com.example.App" + std::to_string(i % 40), "App", std::nullopt,
                                                    "app", AppIdentity::Kind::app});
        }
        if (i % 10 == 0) {
            p.previousGPU.emplace(r.pid, uint64_t(i) * 1000);
            p.currentGPU.emplace(r.pid, uint64_t(i) * 1000 + 5'000'000);
        }
    }
    return p;
}

void BM_ProcessMathSamples(benchmark::State& state) {
    auto p = makePasses(int(state.range(0)));
    Date now = Date::fromUnixSeconds(1'700'003'600);
    for (auto _ : state) {
        auto samples = ProcessMath::samples(p.previous, p.current, p.identities, p.previousGPU, p.currentGPU,
                                            Duration::seconds(2), now, 8, EnergyCoefficients::builtIn);
        benchmark::DoNotOptimize(samples.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * state.range(0));
}
BENCHMARK(BM_ProcessMathSamples)->Arg(500)->Arg(2000)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
