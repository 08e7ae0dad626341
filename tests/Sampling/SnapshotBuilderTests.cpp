#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "Sampling/SnapshotBuilder.h"
#include "core/CapturingLogSink.h"
#include "support/FakeProcessNetwork.h"
#include "support/FakeProcessSource.h"
#include "support/TestExecutor.h"

namespace orv {
namespace {

// A source whose answers are set by the test; it throws when told to.
template <class Source, class Record>
class FakeSource final : public Source {
public:
    explicit FakeSource(std::shared_ptr<Record> record, std::shared_ptr<bool> fails)
        : record_(std::move(record)), fails_(std::move(fails)) {}
    std::future<Record> sample() override {
        std::promise<Record> promise;
        if (*fails_) promise.set_exception(std::make_exception_ptr(std::runtime_error("ticks unreadable")));
        else promise.set_value(*record_);
        return promise.get_future();
    }

private:
    std::shared_ptr<Record> record_;
    std::shared_ptr<bool> fails_;
};

class FakeGPU final : public GPUSource {
public:
    std::optional<GPUStats> stats() override {
        if (!present) return std::nullopt;
        return GPUStats{"Test GPU", 25, std::nullopt};
    }
    std::map<int32_t, uint64_t> processGPUTimes() override {
        ++timesAsked;
        return times;
    }
    std::map<int32_t, uint64_t> times;
    bool present = true;
    int timesAsked = 0;
};

class FakeClassifier final : public AppClassifier {
public:
    ProcessMath::IdentitiesByPID identify(const std::vector<ProcessReading>& readings) override {
        ProcessMath::IdentitiesByPID identities;
        for (const auto& r : readings) {
            if (r.name.starts_with("editor")) identities.emplace(r.pid, editor);
        }
        return identities;
    }
    AppIdentity editor{"org.example.Editor", "Editor", std::nullopt, "org.example.Editor", AppIdentity::Kind::app};
};

using test::FakeProcessNetwork;

// Accounting that sees every user's processes, as the helper's does.
std::shared_ptr<FakeProcessNetwork> everyUsersNetwork() {
    auto network = std::make_shared<FakeProcessNetwork>();
    network->owner = 501;
    network->covered = std::optional<uint32_t>();
    return network;
}

const Date startedLongAgo{700'000'000};

ProcessReading process(int32_t pid, std::string name, int64_t cpuMilliseconds, uint64_t energyNJ = 0) {
    auto r = test::readingNamed(pid, std::move(name));
    r.startTime = startedLongAgo;
    r.cpuTime = Duration::milliseconds(cpuMilliseconds);
    r.footprintBytes = uint64_t(pid) << 20;
    r.energyNJ = energyNJ;
    return r;
}

class SnapshotBuilderTest : public ::testing::Test {
protected:
    std::shared_ptr<test::FakeProcessSource> processes = std::make_shared<test::FakeProcessSource>();
    std::shared_ptr<CPUStats> cpu = std::make_shared<CPUStats>();
    std::shared_ptr<bool> cpuFails = std::make_shared<bool>(false);
    std::shared_ptr<FakeGPU> gpu = std::make_shared<FakeGPU>();
    int64_t clockNanoseconds = 5'000'000'000;
    double wallSeconds = 800'000'000;
    bool measuresEnergy = true;
    bool withBattery = false;
    std::shared_ptr<FakeProcessNetwork> network;
    std::function<std::optional<SensorStats>(std::span<const BluetoothBatteries::Reading>)> sensors;

    std::unique_ptr<SnapshotBuilder> make() {
        SnapshotBuilder::Parts parts;
        parts.processes = processes;
        parts.processNetwork = network;
        parts.cpu = std::make_unique<FakeSource<CPUSource, CPUStats>>(cpu, cpuFails);
        parts.gpu = gpu;
        parts.battery = [this]() -> std::optional<BatteryStats> {
            if (!withBattery) return std::nullopt;
            BatteryStats b;
            b.percent = 50;
            return b;
        };
        parts.thermal = [] { return ThermalPressure::serious; };
        parts.sensors = sensors;
        parts.classifier = std::make_unique<FakeClassifier>();
        parts.energy = EnergyCoefficients::builtIn;
        parts.coreCount = 2;
        parts.measuresProcessEnergy = measuresEnergy;
        parts.clock = [this] { return ContinuousClock::Instant{clockNanoseconds}; };
        parts.wallClock = [this] { return Date{wallSeconds}; };
        parts.uptime = [] { return Duration::seconds(4242); };
        return std::make_unique<SnapshotBuilder>(std::move(parts), test::testExecutor());
    }

    void advance(int64_t milliseconds) {
        clockNanoseconds += milliseconds * 1'000'000;
        wallSeconds += double(milliseconds) / 1000;
    }
};

TEST_F(SnapshotBuilderTest, TheFirstSnapshotHasNoBaselineAndNoRates) {
    processes->setReadings({process(10, "burner", 50'000)});
    auto builder = make();
    EXPECT_FALSE(builder->hasBaseline());
    auto first = builder->build();
    EXPECT_TRUE(builder->hasBaseline());
    EXPECT_EQ(first.interval, Duration::zero());
    ASSERT_EQ(first.processes.size(), 1u);
    EXPECT_EQ(first.processes[0].cpuPercent, 0);
    EXPECT_EQ(first.processes[0].energyImpact, std::nullopt);
}

TEST_F(SnapshotBuilderTest, APeripheralSourceIsAskedOnEveryBuild) {
    sensors = [](std::span<const BluetoothBatteries::Reading> bluetooth) {
        SensorStats stats;
        for (const auto& r : bluetooth) {
            stats.peripherals.push_back({r.address, r.name, PeripheralBattery::Kind::mouse, double(*r.single)});
        }
        return std::optional<SensorStats>(stats);
    };
    auto builder = make();
    int asked = 0;
    builder->setPeripheralSource([&] {
        ++asked;
        BluetoothBatteries::Reading r;
        r.address = "AA:BB:CC:DD:EE:FF";
        r.name = "Mouse";
        r.single = 90 - asked;
        return std::vector<BluetoothBatteries::Reading>{r};
    });
    builder->build();
    advance(1000);
    auto second = builder->build();
    EXPECT_EQ(asked, 2);
    ASSERT_TRUE(second.system.sensors);
    ASSERT_EQ(second.system.sensors->peripherals.size(), 1u);
    EXPECT_EQ(second.system.sensors->peripherals[0].percent, 88);
}

TEST_F(SnapshotBuilderTest, TheSecondSnapshotMeasuresRatesOverTheClocksInterval) {
    processes->setReadings({process(10, "burner", 50'000)});
    auto builder = make();
    builder->build();
    advance(2000);
    processes->setReadings({process(10, "burner", 52'000)});  // one core for 2 s of 2 cores
    auto second = builder->build();
    EXPECT_EQ(second.interval, Duration::seconds(2));
    EXPECT_EQ(second.at, Date{wallSeconds});
    ASSERT_EQ(second.processes.size(), 1u);
    EXPECT_DOUBLE_EQ(second.processes[0].cpuPercent, 50);
}

TEST_F(SnapshotBuilderTest, NetworkRatesFillProcessesAndApps) {
    network = everyUsersNetwork();
    network->bytes = NetworkBytesByPID{{10, {1000, 500}}, {11, {0, 0}}};
    processes->setReadings({process(10, "editor", 0), process(11, "editor-helper", 0), process(12, "idle", 0)});
    auto builder = make();
    auto first = builder->build();
    EXPECT_EQ(network->observed.load(), 3u);
    for (const auto& p : first.processes) EXPECT_EQ(p.netInBPS, 0) << p.pid;  // no baseline yet
    advance(2000);
    network->bytes = NetworkBytesByPID{{10, {5000, 2500}}, {11, {2000, 0}}};
    auto second = builder->build();
    auto byPid = [&](int32_t pid) {
        return *std::find_if(second.processes.begin(), second.processes.end(),
                             [&](const ProcessSample& p) { return p.pid == pid; });
    };
    EXPECT_EQ(byPid(10).netInBPS, 2000);
    EXPECT_EQ(byPid(10).netOutBPS, 1000);
    EXPECT_EQ(byPid(11).netInBPS, 1000);
    EXPECT_EQ(byPid(12).netInBPS, 0);  // accounted, no traffic
    auto editor = std::find_if(second.apps.begin(), second.apps.end(),
                               [](const AppAggregate& a) { return a.app.id == "org.example.Editor"; });
    ASSERT_NE(editor, second.apps.end());
    EXPECT_EQ(editor->netInBPS, 3000);
    EXPECT_EQ(editor->netOutBPS, 1000);
}

TEST_F(SnapshotBuilderTest, WithoutAccountingNetworkRatesStayAbsent) {
    network = everyUsersNetwork();  // answers absent
    processes->setReadings({process(10, "editor", 0)});
    auto builder = make();
    builder->build();
    advance(1000);
    auto second = builder->build();
    EXPECT_EQ(second.processes.at(0).netInBPS, std::nullopt);
    EXPECT_EQ(second.apps.at(0).netInBPS, std::nullopt);
}

TEST_F(SnapshotBuilderTest, OtherUsersProcessesHaveNoNetworkRatesWhenTheAccountingCannotSeeThem) {
    network = everyUsersNetwork();
    network->bytes = NetworkBytesByPID{};
    network->covered = std::optional<uint32_t>(501);
    auto mine = process(10, "editor", 0);
    mine.uid = 501;
    auto root = process(11, "daemon", 0);
    root.uid = 0;
    processes->setReadings({mine, root});
    auto builder = make();
    builder->build();
    advance(1000);
    auto second = builder->build();
    for (const auto& p : second.processes) {
        if (p.pid == 10) EXPECT_EQ(p.netInBPS, 0);
        else EXPECT_EQ(p.netInBPS, std::nullopt);
    }
}

TEST_F(SnapshotBuilderTest, PrimedGivesRatesFromTheNextCall) {
    processes->setReadings({process(10, "burner", 0)});
    auto builder = make();
    builder->primed();
    advance(1000);
    processes->setReadings({process(10, "burner", 1000)});
    EXPECT_DOUBLE_EQ(builder->build().processes.at(0).cpuPercent, 50);
}

TEST_F(SnapshotBuilderTest, ProcessesAndAppsComeBusiestFirstAndAppsSumTheirMembers) {
    processes->setReadings({process(10, "idle", 0), process(11, "editor", 0), process(12, "editor-helper", 0),
                            process(13, "burner", 0)});
    auto builder = make();
    builder->build();
    advance(1000);
    processes->setReadings({process(10, "idle", 0), process(11, "editor", 100), process(12, "editor-helper", 300),
                            process(13, "burner", 1000)});
    auto snapshot = builder->build();
    std::vector<int32_t> pids;
    for (const auto& p : snapshot.processes) pids.push_back(p.pid);
    EXPECT_EQ(pids, (std::vector<int32_t>{13, 12, 11, 10}));
    ASSERT_EQ(snapshot.apps.size(), 3u);
    EXPECT_EQ(snapshot.apps[0].app, AppIdentity::other("burner"));
    EXPECT_EQ(snapshot.apps[1].app.id, "org.example.Editor");
    EXPECT_EQ(snapshot.apps[1].processCount, 2);
    EXPECT_DOUBLE_EQ(snapshot.apps[1].cpuPercent, 20);
    EXPECT_EQ(snapshot.apps[1].memoryBytes, (11u << 20) + (12u << 20));
    EXPECT_EQ(snapshot.processes[1].app, "org.example.Editor");
}

TEST_F(SnapshotBuilderTest, WithoutAPerProcessEnergyCounterPowerIsAbsentButImpactStays) {
    measuresEnergy = false;
    processes->setReadings({process(10, "burner", 0)});
    auto builder = make();
    builder->build();
    advance(1000);
    processes->setReadings({process(10, "burner", 500)});
    auto snapshot = builder->build();
    EXPECT_EQ(snapshot.processes.at(0).energyMW, std::nullopt);
    EXPECT_EQ(snapshot.apps.at(0).energyMW, std::nullopt);
    ASSERT_TRUE(snapshot.processes.at(0).energyImpact.has_value());
    EXPECT_GT(*snapshot.processes.at(0).energyImpact, 0);
    EXPECT_EQ(snapshot.apps.at(0).energyImpact, snapshot.processes.at(0).energyImpact);
}

TEST_F(SnapshotBuilderTest, WithAPerProcessEnergyCounterPowerIsMeasured) {
    processes->setReadings({process(10, "burner", 0, 0)});
    auto builder = make();
    builder->build();
    advance(1000);
    processes->setReadings({process(10, "burner", 500, 2'000'000'000)});  // 2 J over 1 s
    auto snapshot = builder->build();
    EXPECT_EQ(snapshot.processes.at(0).energyMW, 2000);
    EXPECT_EQ(snapshot.apps.at(0).energyMW, 2000);
}

TEST_F(SnapshotBuilderTest, GPUTimesBetweenTwoCallsGiveAGPUShare) {
    processes->setReadings({process(10, "renderer", 0)});
    gpu->times = {{10, 1'000'000'000}};
    auto builder = make();
    builder->build();
    advance(1000);
    gpu->times = {{10, 1'250'000'000}};
    auto snapshot = builder->build();
    EXPECT_EQ(snapshot.processes.at(0).gpuPercent, 25);
    EXPECT_EQ(snapshot.apps.at(0).gpuPercent, 25);
    ASSERT_TRUE(snapshot.system.gpu.has_value());
    EXPECT_EQ(snapshot.system.gpu->name, "Test GPU");
}

TEST_F(SnapshotBuilderTest, WithoutAGPUNoProcessTimesAreAskedForAndNoShareIsGiven) {
    gpu->present = false;
    processes->setReadings({process(10, "renderer", 0)});
    auto builder = make();
    builder->build();
    advance(1000);
    auto snapshot = builder->build();
    EXPECT_EQ(gpu->timesAsked, 0);
    EXPECT_EQ(snapshot.system.gpu, std::nullopt);
    EXPECT_EQ(snapshot.processes.at(0).gpuPercent, std::nullopt);
    EXPECT_EQ(snapshot.apps.at(0).gpuPercent, std::nullopt);
}

TEST_F(SnapshotBuilderTest, TheSystemSampleCarriesEveryPart) {
    withBattery = true;
    cpu->totalPercent = 37;
    auto snapshot = make()->build();
    EXPECT_EQ(snapshot.system.cpu.totalPercent, 37);
    EXPECT_EQ(snapshot.system.thermal, ThermalPressure::serious);
    EXPECT_EQ(snapshot.system.uptime, Duration::seconds(4242));
    ASSERT_TRUE(snapshot.system.battery.has_value());
    EXPECT_EQ(snapshot.system.battery->percent, 50);
    EXPECT_EQ(snapshot.system.sensors, std::nullopt);  // no sensors part
}

TEST_F(SnapshotBuilderTest, AFailingSystemSamplerRepeatsItsLastFiguresAndLogsOnce) {
    ScopedLogCapture capture;
    cpu->totalPercent = 61;
    auto builder = make();
    builder->build();
    *cpuFails = true;
    cpu->totalPercent = 5;
    EXPECT_EQ(builder->build().system.cpu.totalPercent, 61);
    EXPECT_EQ(builder->build().system.cpu.totalPercent, 61);
    EXPECT_EQ(capture.sink().count("Snapshot keeps the last CPU figures: ticks unreadable"), 1u);
    *cpuFails = false;
    EXPECT_EQ(builder->build().system.cpu.totalPercent, 5);
}

TEST_F(SnapshotBuilderTest, AFailingProcessSourceFailsTheCallAndKeepsTheBaseline) {
    processes->setReadings({process(10, "burner", 0)});
    auto builder = make();
    builder->build();
    processes->setThrows(true);
    advance(1000);
    EXPECT_THROW(builder->build(), std::runtime_error);
    processes->setThrows(false);
    advance(1000);
    processes->setReadings({process(10, "burner", 1000)});
    auto snapshot = builder->build();
    EXPECT_EQ(snapshot.interval, Duration::seconds(2));
    EXPECT_DOUBLE_EQ(snapshot.processes.at(0).cpuPercent, 25);
}

TEST_F(SnapshotBuilderTest, AProcessThatLeftAndAPidThatCameBackAreNoBaseline) {
    processes->setReadings({process(10, "short", 0), process(11, "stays", 0)});
    auto builder = make();
    builder->build();
    advance(1000);
    processes->setReadings({process(11, "stays", 500)});
    builder->build();
    advance(1000);
    // pid 10 returns with its old start time and a large total: with a stale
    // baseline it would read 5 s of CPU in 1 s; without one it reads nothing.
    processes->setReadings({process(10, "short", 5000), process(11, "stays", 1000)});
    auto snapshot = builder->build();
    auto returned = std::find_if(snapshot.processes.begin(), snapshot.processes.end(),
                                 [](const auto& p) { return p.pid == 10; });
    ASSERT_NE(returned, snapshot.processes.end());
    EXPECT_EQ(returned->cpuPercent, 0);
    EXPECT_DOUBLE_EQ(snapshot.processes.front().cpuPercent, 25);
}

TEST_F(SnapshotBuilderTest, AnEmptyProcessTableGivesAnEmptySnapshot) {
    auto snapshot = make()->build();
    EXPECT_TRUE(snapshot.processes.empty());
    EXPECT_TRUE(snapshot.apps.empty());
}

}  // namespace
}  // namespace orv
