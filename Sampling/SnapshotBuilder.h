#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "PrivateAPIs/BluetoothBatteries.h"
#include "Sampling/AppClassifier.h"
#include "Sampling/EnergyCoefficients.h"
#include "Sampling/GPUSource.h"
#include "Sampling/ProcessMath.h"
#include "Sampling/ProcessNetworkMath.h"
#include "Sampling/ProcessNetworkSource.h"
#include "core/CPUSource.h"
#include "core/ContinuousClock.h"
#include "core/DiskSource.h"
#include "core/MemorySource.h"
#include "core/NetworkSource.h"
#include "core/ProcessSource.h"
#include "core/SamplingExecutor.h"
#include "core/Snapshot.h"

namespace orv {

// Builds one Snapshot per call from the samplers it owns: the process
// readings (local, or the helper's), the system sample, the per-process
// rates and the per-app sums.
//
// Rates need a baseline: the first call has none, so its interval is zero
// and every process and throughput rate in it is zero. A caller that wants
// rates from the start calls `build` once, waits the interval, and uses
// the second snapshot (`primed` does the first call).
//
// `build` blocks its caller, which must not be the sampling executor: the
// process source runs there, and the helper's reply comes back there. All
// the builder's state and its samplers are touched only on the executor.
class SnapshotBuilder {
public:
    struct Parts {
        std::shared_ptr<ProcessSource> processes;
        // Per-process network bytes; null: no network rates (they stay absent).
        std::shared_ptr<ProcessNetworkSource> processNetwork;
        std::unique_ptr<CPUSource> cpu;
        std::unique_ptr<MemorySource> memory;
        std::unique_ptr<DiskSource> disk;
        std::unique_ptr<NetworkSource> network;
        std::shared_ptr<GPUSource> gpu;  // null: no GPU figures at all
        std::function<std::optional<BatteryStats>()> battery;
        std::function<ThermalPressure()> thermal;
        std::function<std::optional<SensorStats>(std::span<const BluetoothBatteries::Reading>)> sensors;
        std::unique_ptr<AppClassifier> classifier;
        EnergyCoefficients energy;
        int coreCount = 1;
        bool measuresProcessEnergy = true;
        std::function<ContinuousClock::Instant()> clock = &ContinuousClock::now;
        std::function<Date()> wallClock = &Date::now;
        std::function<Duration()> uptime;
    };

    // This machine's samplers, confined to `executor`. `processes` is the
    // local process sampler unless one is given (the helper's client).
    static Parts machineParts(SamplingExecutor& executor = SamplingExecutor::shared(),
                              std::shared_ptr<ProcessSource> processes = nullptr);

    explicit SnapshotBuilder(Parts parts, SamplingExecutor& executor = SamplingExecutor::shared());
    ~SnapshotBuilder();
    SnapshotBuilder(const SnapshotBuilder&) = delete;
    SnapshotBuilder& operator=(const SnapshotBuilder&) = delete;

    // One snapshot: the rates since the previous call. Throws only when the
    // process source fails; a failing system sampler repeats its last good
    // figures (zero before it has any).
    Snapshot build();

    // A builder whose first call is behind it, so the next `build` has rates.
    SnapshotBuilder& primed() {
        build();
        return *this;
    }

    bool hasBaseline() const;

    // The peripherals' battery readings for the sensors part; on macOS they
    // must be read on the main thread, so the caller passes them in.
    void setPeripherals(std::vector<BluetoothBatteries::Reading> readings);
    // Or where to get them on every `build`, asked on the calling thread
    // (the main thread, for macOS); the source decides when to read afresh
    // (PeripheralBatteries: once a minute).
    void setPeripheralSource(std::function<std::vector<BluetoothBatteries::Reading>()> source);

private:
    struct Latest;

    // What the network accounting answered for one pass.
    struct NetworkAnswer {
        std::optional<NetworkBytesByPID> bytes;  // absent: no accounting
        std::optional<uint32_t> coveredUID;
        uint64_t generation = 0;
    };

    Snapshot assemble(std::vector<ProcessReading> readings, ContinuousClock::Instant readAt, Date at,
                      NetworkAnswer network);
    SystemSample systemSample();

    Parts parts_;
    SamplingExecutor& executor_;
    std::unique_ptr<Latest> latest_;  // last good system figures
    ProcessMath::Baselines previous_;  // storage reused from pass to pass
    ProcessMath::GPUTimeByPID previousGPU_;
    ProcessNetworkMath::CountersByPID previousNetwork_;
    uint64_t networkGeneration_ = 0;
    std::optional<ContinuousClock::Instant> previousAt_;
    mutable std::mutex peripheralsMutex_;
    std::vector<BluetoothBatteries::Reading> peripherals_;
    std::function<std::vector<BluetoothBatteries::Reading>()> peripheralSource_;  // called on build's thread only
};

}  // namespace orv
