#include "Sampling/SnapshotBuilder.h"

#include <algorithm>
#include <exception>
#include <thread>

#include "Sampling/AppAggregateMath.h"
#include "Sampling/BatterySampler.h"
#include "Sampling/CPUSampler.h"
#include "Sampling/DiskSampler.h"
#include "Sampling/EnergyCoefficientsLoader.h"
#include "Sampling/GPUSampler.h"
#include "Sampling/MemorySampler.h"
#include "Sampling/NetworkSampler.h"
#include "Sampling/ProcessNetworkSampler.h"
#include "Sampling/PlatformTraits.h"
#include "Sampling/ProcessSampler.h"
#include "Sampling/SensorsReader.h"
#include "Sampling/ThermalReader.h"
#include "core/Logger.h"

namespace orv {

struct SnapshotBuilder::Latest {
    SystemSample system;
    // Which parts are failing now, so that each failure is logged when it
    // starts rather than on every pass.
    bool cpuFailing = false, memoryFailing = false, diskFailing = false, networkFailing = false;
    Logger log{"app.orvantine.sampling", "sampling"};
};

namespace {

// Reads one part; on failure keeps `kept` and logs once per run of failures.
template <class Read, class Record>
void refresh(Read read, Record& kept, bool& failing, const Logger& log, const char* part) {
    try {
        kept = read();
        failing = false;
    } catch (const std::exception& e) {
        if (!failing) log.error(std::string("Snapshot keeps the last ") + part + " figures: " + e.what());
        failing = true;
    }
}

int logicalCPUCount() {
    unsigned count = std::thread::hardware_concurrency();
    return count == 0 ? 1 : int(count);
}

}  // namespace

SnapshotBuilder::Parts SnapshotBuilder::machineParts(SamplingExecutor& executor,
                                                     std::shared_ptr<ProcessSource> processes) {
    Parts parts;
    parts.processes = processes ? std::move(processes)
                                : std::make_shared<ProcessSampler>(makeProcessTablePort(), executor);
    parts.cpu = std::make_unique<CPUSampler>(makeCPUPort(), executor);
    parts.memory = std::make_unique<MemorySampler>(makeMemoryPort(), executor);
    parts.disk = std::make_unique<DiskSampler>(makeDiskPort(), executor);
    parts.network = std::make_unique<NetworkSampler>(makeNetworkPort(), executor);
    parts.processNetwork = std::make_shared<ProcessNetworkSampler>();
    parts.gpu = std::make_shared<GPUSampler>();
    auto battery = std::make_shared<BatterySampler>();
    parts.battery = [battery] { return battery->sample(); };
    parts.thermal = &ThermalReader::currentPressure;
    parts.sensors = &SensorsReader::sample;
    parts.classifier = makeAppClassifier();
    parts.energy = EnergyCoefficientsLoader::shared();
    parts.coreCount = logicalCPUCount();
    parts.measuresProcessEnergy = PlatformTraits::measuresProcessEnergy();
    parts.uptime = &PlatformTraits::uptime;
    return parts;
}

SnapshotBuilder::SnapshotBuilder(Parts parts, SamplingExecutor& executor)
    : parts_(std::move(parts)), executor_(executor), latest_(std::make_unique<Latest>()) {}

SnapshotBuilder::~SnapshotBuilder() = default;

bool SnapshotBuilder::hasBaseline() const {
    return executor_.run([this] { return previousAt_.has_value(); }).get();
}

void SnapshotBuilder::setPeripherals(std::vector<BluetoothBatteries::Reading> readings) {
    std::lock_guard lock(peripheralsMutex_);
    peripherals_ = std::move(readings);
}

void SnapshotBuilder::setPeripheralSource(std::function<std::vector<BluetoothBatteries::Reading>()> source) {
    peripheralSource_ = std::move(source);
}

Snapshot SnapshotBuilder::build() {
    if (peripheralSource_) setPeripherals(peripheralSource_());
    // The source runs on the executor (the helper's client finishes there
    // too), so it is awaited here, off it; the rest runs there in one job.
    std::vector<ProcessReading> readings = parts_.processes->sample().get();
    auto readAt = parts_.clock();
    Date at = parts_.wallClock();
    // The accounting bounds its own wait (250 ms), off the executor.
    NetworkAnswer network;
    if (parts_.processNetwork) {
        parts_.processNetwork->observe(readings);
        network.bytes = parts_.processNetwork->cumulativeBytes().get();
        network.coveredUID = parts_.processNetwork->coveredUID();
        network.generation = parts_.processNetwork->baselineGeneration();
    }
    return executor_
        .run([this, readings = std::move(readings), readAt, at, network = std::move(network)]() mutable {
            return assemble(std::move(readings), readAt, at, std::move(network));
        })
        .get();
}

SystemSample SnapshotBuilder::systemSample() {
    Latest& latest = *latest_;
    SystemSample& s = latest.system;
    if (parts_.cpu) refresh([&] { return parts_.cpu->sample().get(); }, s.cpu, latest.cpuFailing, latest.log, "CPU");
    if (parts_.memory) {
        refresh([&] { return parts_.memory->sample().get(); }, s.memory, latest.memoryFailing, latest.log, "memory");
    }
    if (parts_.disk) refresh([&] { return parts_.disk->sample().get(); }, s.disk, latest.diskFailing, latest.log, "disk");
    if (parts_.network) {
        refresh([&] { return parts_.network->sample().get(); }, s.network, latest.networkFailing, latest.log,
                "network");
    }
    // The optional parts express failure as absence already.
    s.gpu = parts_.gpu ? parts_.gpu->stats() : std::nullopt;
    s.battery = parts_.battery ? parts_.battery() : std::nullopt;
    s.thermal = parts_.thermal ? parts_.thermal() : ThermalPressure::nominal;
    if (parts_.sensors) {
        std::lock_guard lock(peripheralsMutex_);
        s.sensors = parts_.sensors(peripherals_);
    } else {
        s.sensors = std::nullopt;
    }
    s.uptime = parts_.uptime ? parts_.uptime() : Duration::zero();
    return s;
}

Snapshot SnapshotBuilder::assemble(std::vector<ProcessReading> readings, ContinuousClock::Instant readAt, Date at,
                                   NetworkAnswer network) {
    Snapshot snapshot;
    snapshot.at = at;
    snapshot.interval = previousAt_ ? readAt - *previousAt_ : Duration::zero();
    snapshot.system = systemSample();

    ProcessMath::GPUTimeByPID currentGPU;
    // Without a device there are no process times either; asking would only
    // search for the device a second time.
    if (parts_.gpu && snapshot.system.gpu) {
        for (const auto& [pid, nanoseconds] : parts_.gpu->processGPUTimes()) currentGPU.emplace(pid, nanoseconds);
    }
    ProcessMath::IdentitiesByPID identities;
    if (parts_.classifier) identities = parts_.classifier->identify(readings);

    snapshot.processes = ProcessMath::samples(previous_, readings, identities, previousGPU_, currentGPU,
                                              snapshot.interval, at, parts_.coreCount, parts_.energy);
    if (!parts_.measuresProcessEnergy) {
        for (auto& sample : snapshot.processes) sample.energyMW.reset();
    }
    // Without accounting the rates stay absent rather than 0, so no
    // accounting reads differently from no traffic; so do the rates of
    // users the accounting cannot see.
    if (network.generation != networkGeneration_) {
        previousNetwork_.clear();
        networkGeneration_ = network.generation;
    }
    if (network.bytes) {
        auto rates = ProcessNetworkMath::rates(previousNetwork_, *network.bytes, readings, network.coveredUID,
                                               snapshot.interval.toSeconds());
        snapshot.processes = ProcessNetworkMath::apply(rates.rates, std::move(snapshot.processes));
        previousNetwork_ = std::move(rates.counters);
    } else {
        previousNetwork_.clear();
    }
    snapshot.apps = AppAggregateMath::aggregate(snapshot.processes, identities);
    AppAggregateMath::sortByCPUShare(snapshot.apps);
    AppAggregateMath::sortByCPUShare(snapshot.processes);

    // Only the counters are kept for the next pass, in a flat vector by pid:
    // the readings' names and paths live on in the samples.
    ProcessMath::keepBaselines(previous_, readings);
    previousGPU_ = std::move(currentGPU);
    previousAt_ = readAt;
    return snapshot;
}

}  // namespace orv
