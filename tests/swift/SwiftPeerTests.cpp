// The wire form against the Swift peer (tests/swift-peer): every record is
// written here, decoded and encoded again by Swift's JSONDecoder and
// JSONEncoder with default settings, read back here and compared field by
// field; the peer's own values are read here; and hand-written documents
// must decode, or fail, alike on both sides.
//
// The peer is the program named by ORVANTINE_SWIFT_PEER; CTest gives it.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <boost/json/parse.hpp>
#include <fmt/format.h>

#include "RecordValues.h"
#include "Sampling/DevServerScanner.h"
#include "Sampling/EnergyCoefficients.h"
#include "Sampling/ProcessNetworkMath.h"
#include "cli/HistoryReport.h"
#include "cli/SamplingSession.h"
#include "core/Alert.h"
#include "core/AlertSettings.h"
#include "core/AlertState.h"
#include "core/AppActivityHistory.h"
#include "core/AudioAppSetting.h"
#include "core/AudioClient.h"
#include "core/AudioOutputDevice.h"
#include "core/BlockCounters.h"
#include "core/CPUTicks.h"
#include "core/CPUTopology.h"
#include "core/ConfirmedTermination.h"
#include "core/InterfaceCounters.h"
#include "core/JsonCoding.h"
#include "core/ListeningPort.h"
#include "core/NetworkByteCounts.h"
#include "core/Project.h"
#include "core/SamplingCadence.h"
#include "core/Snapshot.h"
#include "core/StrainReason.h"
#include "core/TerminationMode.h"
#include "core/TerminationResult.h"
#include "core/VMPageCounts.h"
#include "support/TempDir.h"

namespace orv {
namespace {

namespace fs = std::filesystem;
using test::FieldComparison;
using test::ValueMaker;

constexpr size_t edgeValueCount = 24;
constexpr size_t randomValueCount = 300;

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeFile(const fs::path& path, std::string_view text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

// One record type on the wire: the values written for it, and what came back.
class WireRecord {
public:
    virtual ~WireRecord() = default;
    virtual const std::string& name() const = 0;
    virtual size_t valueCount() const = 0;
    virtual void writeValues(const fs::path& recordsDir) const = 0;
    // Differences between what was written and what the peer wrote back,
    // "<record>/<n>.json: <field>: expected …, found …".
    virtual std::vector<std::string> checkValues(const fs::path& peerRecordsDir) const = 0;
    // What this side makes of `text`: empty when it decodes, else the error.
    virtual std::optional<json::DecodingError> decodeError(std::string_view text) const = 0;
    // Differences between the two documents' values, both read here.
    virtual std::vector<std::string> compareDocuments(std::string_view expected, std::string_view found) const = 0;
};

template <class T>
class TypedWireRecord final : public WireRecord {
public:
    explicit TypedWireRecord(std::string name) : name_(std::move(name)) {}

    const std::string& name() const override { return name_; }
    size_t valueCount() const override { return values_.size(); }

    TypedWireRecord& add(T value) {
        values_.push_back(std::move(value));
        return *this;
    }
    TypedWireRecord& addEdgesAndRandom(uint64_t seed) {
        for (size_t n = 0; n < edgeValueCount; ++n) add(ValueMaker::edges(n).make<T>());
        for (size_t n = 0; n < randomValueCount; ++n) add(ValueMaker::random(seed * 1'000'003 + n).make<T>());
        return *this;
    }

    void writeValues(const fs::path& recordsDir) const override {
        for (size_t i = 0; i < values_.size(); ++i) {
            writeFile(recordsDir / name_ / fmt::format("{}.json", i), json::encode(values_[i]));
        }
    }

    std::vector<std::string> checkValues(const fs::path& peerRecordsDir) const override {
        std::vector<std::string> problems;
        for (size_t i = 0; i < values_.size(); ++i) {
            auto label = fmt::format("{}/{}.json", name_, i);
            auto path = peerRecordsDir / name_ / fmt::format("{}.json", i);
            if (!fs::exists(path)) {
                problems.push_back(label + ": the peer wrote nothing");
                continue;
            }
            try {
                FieldComparison comparison;
                comparison.compare(values_[i], json::decode<T>(readFile(path)), "");
                for (auto& d : comparison.differences) problems.push_back(label + ": " + d);
            } catch (const json::DecodingError& e) {
                problems.push_back(label + ": the peer's document does not decode here: " + e.what());
            }
        }
        return problems;
    }

    std::optional<json::DecodingError> decodeError(std::string_view text) const override {
        try {
            (void)json::decode<T>(text);
            return std::nullopt;
        } catch (const json::DecodingError& e) {
            return e;
        }
    }

    std::vector<std::string> compareDocuments(std::string_view expected, std::string_view found) const override {
        FieldComparison comparison;
        comparison.compare(json::decode<T>(expected), json::decode<T>(found), "");
        return comparison.differences;
    }

    // A value the peer builds, read here, must equal `expected` field by field.
    std::vector<std::string> checkExample(const fs::path& file, const T& expected) const {
        FieldComparison comparison;
        comparison.compare(expected, json::decode<T>(readFile(file)), "");
        return comparison.differences;
    }

private:
    std::string name_;
    std::vector<T> values_;
};

// This machine's values, read once for the whole run.
struct LiveValues {
    std::vector<ProcessReading> readings;
    Snapshot snapshot;
    std::vector<Project> projects;
    std::vector<ListeningPort> ports;
};

LiveValues readThisMachine() {
    LiveValues live;
    cli::SamplingSession session;
    auto builder = session.snapshotBuilder();
    builder->build();
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    live.snapshot = builder->build();
    live.readings = session.readProcesses().readings;
    auto port = session.devServerPort();
    live.ports = port->listeningPorts();
    DevServerScanner scanner(session.devServerPort(), ProjectLocator("/"), uint32_t(geteuid()), int32_t(getpgrp()));
    live.projects = scanner.scan(live.readings, Date::now());
    session.finish();
    return live;
}

// Every record type with its values: edge values, random values (each type
// its own seed, so that adding a type changes no other's values) and, where
// this machine has them, live ones.
class Corpus {
public:
    explicit Corpus(const LiveValues& live) {
        auto& readings = record<ProcessReading>("ProcessReading");
        for (size_t i = 0; i < live.readings.size() && i < 200; ++i) readings.add(live.readings[i]);
        record<std::vector<ProcessReading>>("ProcessReadingList").add(live.readings).add({});
        auto& samples = record<ProcessSample>("ProcessSample");
        for (size_t i = 0; i < live.snapshot.processes.size() && i < 200; ++i) samples.add(live.snapshot.processes[i]);
        record<std::vector<ProcessSample>>("ProcessSampleList").add(live.snapshot.processes);
        record<ProcessNetworkMath::Counter>("ProcessNetworkMath.Counter");
        record<ProcessNetworkMath::Rate>("ProcessNetworkMath.Rate");
        record<NetworkByteCounts>("NetworkByteCounts");
        record<NetworkBytesByPID>("NetworkBytesByPID");
        record<Snapshot>("Snapshot").add(live.snapshot);
        const SystemSample& system = live.snapshot.system;
        record<SystemSample>("SystemSample").add(system);
        auto& identities = record<AppIdentity>("AppIdentity");
        auto& aggregates = record<AppAggregate>("AppAggregate");
        for (const auto& app : live.snapshot.apps) {
            identities.add(app.app);
            aggregates.add(app);
        }
        record<AppIdentity::Kind>("AppIdentity.Kind");
        record<SamplingCadence>("SamplingCadence");
        record<StrainReason>("StrainReason");
        record<AlertRule>("AlertRule");
        record<RuleSettings>("RuleSettings");
        record<QuietHours>("QuietHours");
        record<AlertSettings>("AlertSettings").add(AlertSettings::defaults());
        record<AppActivityPoint>("AppActivityPoint");
        record<AppActivityHistory>("AppActivityHistory");
        record<AlertKey>("AlertKey");
        record<AlertState>("AlertState");
        record<Alert>("Alert");
        record<Metric>("Metric");
        record<HistoryRange>("HistoryRange");
        record<MetricStatus>("MetricStatus");
        record<PeriodChange>("PeriodChange");
        record<SeriesPoint>("SeriesPoint");
        record<AppTotal>("AppTotal");
        record<BatteryDay>("BatteryDay");
        record<cli::HistoryReport>("HistoryReport");
        record<DevRuntime>("DevRuntime");
        record<ProjectActivity>("ProjectActivity");
        auto& servers = record<DevServer>("DevServer");
        for (const auto& project : live.projects) {
            for (const auto& server : project.servers) servers.add(server);
        }
        auto& projects = record<Project>("Project");
        for (const auto& project : live.projects) projects.add(project);
        record<std::vector<Project>>("ProjectList").add(live.projects);
        auto& ports = record<ListeningPort>("ListeningPort");
        for (const auto& port : live.ports) ports.add(port);
        record<std::vector<ListeningPort>>("ListeningPortList").add(live.ports);
        record<ListeningPort::Transport>("ListeningPort.Transport");
        record<AudioClient>("AudioClient");
        record<AudioAppSetting>("AudioAppSetting");
        record<AudioOutputDevice>("AudioOutputDevice");
        record<TerminationMode>("TerminationMode");
        record<TerminationTarget>("TerminationTarget");
        record<ConfirmedTermination>("ConfirmedTermination");
        record<TerminationResult>("TerminationResult");
        record<CPUTicks>("CPUTicks");
        record<CPUTopology>("CPUTopology");
        record<CPUTopology::Level>("CPUTopology.Level");
        auto& clusters = record<CoreCluster>("CoreCluster");
        for (const auto& cluster : system.cpu.clusters) clusters.add(cluster);
        record<LoadAverage>("LoadAverage").add(system.cpu.loadAverage);
        record<CPUStats>("CPUStats").add(system.cpu);
        record<VMPageCounts>("VMPageCounts");
        record<MemoryPressure>("MemoryPressure");
        record<MemoryStats>("MemoryStats").add(system.memory);
        record<BlockCounters>("BlockCounters");
        auto& volumes = record<VolumeStats>("VolumeStats");
        for (const auto& volume : system.disk.volumes) volumes.add(volume);
        record<DiskStats>("DiskStats").add(system.disk);
        record<InterfaceCounters>("InterfaceCounters");
        record<NetworkStats>("NetworkStats").add(system.network);
        auto& batteries = record<BatteryStats>("BatteryStats");
        if (system.battery) batteries.add(*system.battery);
        record<BatteryStats::PowerSource>("BatteryStats.PowerSource");
        auto& gpus = record<GPUStats>("GPUStats");
        if (system.gpu) gpus.add(*system.gpu);
        record<ThermalPressure>("ThermalPressure");
        record<TemperatureReading>("TemperatureReading");
        record<FanReading>("FanReading");
        auto& sensors = record<SensorStats>("SensorStats");
        if (system.sensors) sensors.add(*system.sensors);
        record<PeripheralBattery>("PeripheralBattery");
        record<PeripheralBattery::Kind>("PeripheralBattery.Kind");
        record<EnergyCoefficients>("EnergyCoefficients").add(EnergyCoefficients::builtIn);
    }

    template <class T>
    TypedWireRecord<T>& get(const std::string& name) const {
        return dynamic_cast<TypedWireRecord<T>&>(*byName_.at(name));
    }
    const WireRecord* find(const std::string& name) const {
        auto it = byName_.find(name);
        return it == byName_.end() ? nullptr : it->second;
    }
    const std::vector<std::unique_ptr<WireRecord>>& records() const { return records_; }

private:
    template <class T>
    TypedWireRecord<T>& record(const std::string& name) {
        auto owned = std::make_unique<TypedWireRecord<T>>(name);
        owned->addEdgesAndRandom(records_.size() + 1);
        auto& typed = *owned;
        byName_[name] = owned.get();
        records_.push_back(std::move(owned));
        return typed;
    }

    std::vector<std::unique_ptr<WireRecord>> records_;
    std::map<std::string, WireRecord*> byName_;
};

// A hand-written document and what both sides must make of it.
struct Input {
    std::string record;
    std::string text;
    // Empty: it decodes; otherwise the kind of error ("typeMismatch", …).
    std::string failsWith;
    // For failures, a text the error's description must contain on both sides.
    std::string description;

    Input(std::string record, std::string text, std::string failsWith = {}, std::string description = {})
        : record(std::move(record)), text(std::move(text)), failsWith(std::move(failsWith)),
          description(std::move(description)) {}
};

const char* kindName(json::DecodingError::Kind kind) {
    switch (kind) {
        case json::DecodingError::Kind::keyNotFound: return "keyNotFound";
        case json::DecodingError::Kind::valueNotFound: return "valueNotFound";
        case json::DecodingError::Kind::typeMismatch: return "typeMismatch";
        case json::DecodingError::Kind::dataCorrupted: return "dataCorrupted";
    }
    return "?";
}

// A ProcessReading document with one key's value replaced by raw JSON text,
// kept as written (or the key left out when `raw` is empty).
std::string readingWith(const std::string& key, const std::string& raw) {
    boost::json::object reading = {{"pid", 1}, {"parentPID", 0}, {"uid", 0}, {"name", "x"},
                                   {"startTime", 0}, {"cpuTime", boost::json::array{0, 1}},
                                   {"footprintBytes", 0}, {"diskReadBytes", 0}, {"diskWriteBytes", 0},
                                   {"energyNJ", 0}, {"isComplete", true}, {"wakeups", 0}};
    if (raw.empty()) {
        reading.erase(key);
        return boost::json::serialize(reading);
    }
    reading[key] = "@RAW@";
    auto text = boost::json::serialize(reading);
    return text.replace(text.find("\"@RAW@\""), 7, raw);
}

const char* const invalidKeys = "Invalid number of keys found, expected one.";

std::vector<Input> inputs() {
    const std::string server =
        R"({"pid":1,"name":"n","command":"c","runtime":"node","ports":[3000],"memoryBytes":0,"startedAt":0,)"
        R"("cpuTime":[0,0],"stopTarget":{"process":{"_0":1}},"activity":)";
    const std::string app = R"({"id":"a","name":"b","iconKey":"c","kind":)";
    return {
        // Payload enumerations: exactly one key that names a case.
        {"TerminationTarget", R"({"process":{"_0":1},"processGroup":{"_0":2}})", "typeMismatch", invalidKeys},
        {"TerminationTarget", R"({"pid":{"_0":1}})", "typeMismatch", invalidKeys},
        {"TerminationTarget", R"({})", "typeMismatch", invalidKeys},
        {"ProjectActivity", R"({"working":{},"barelyUsed":{}})", "typeMismatch", invalidKeys},
        {"PeriodChange", R"({"old":{}})", "typeMismatch", invalidKeys},
        {"DevServer", server + "{}}", "typeMismatch", invalidKeys},
        {"TerminationTarget", R"({"process":{"_0":1},"zzz":1})"},
        {"TerminationTarget", R"({"process":{"_0":1,"_1":2}})"},
        {"ProjectActivity", R"({"idle":{"minutes":3,"seconds":4}})"},
        {"TerminationTarget", R"({"process":4242})", "typeMismatch"},
        {"TerminationTarget", R"({"process":null})", "valueNotFound"},
        {"TerminationTarget", R"({"process":{"_0":null}})", "valueNotFound"},
        // Unknown raw values.
        {"AppIdentity.Kind", R"("application")", "dataCorrupted"},
        {"AppIdentity", app + R"("x"})", "dataCorrupted"},
        {"DevRuntime", R"("perl")", "dataCorrupted"},
        {"AlertRule", R"("lowCPU")", "dataCorrupted"},
        {"Metric", R"("CPU")", "dataCorrupted"},
        {"ThermalPressure", R"("hot")", "dataCorrupted"},
        {"ListeningPort.Transport", R"("udp4")", "dataCorrupted"},
        {"PeripheralBattery.Kind", R"("airpods")", "dataCorrupted"},
        {"AlertRule", R"(3)", "typeMismatch"},
        // Missing keys.
        {"ProcessReading", readingWith("pid", ""), "keyNotFound"},
        {"ProcessReading", readingWith("cpuTime", ""), "keyNotFound"},
        {"TerminationTarget", R"({"app":{"pids":[]}})", "keyNotFound"},
        {"ProjectActivity", R"({"idle":{}})", "keyNotFound"},
        {"AlertSettings", R"({"rules":[],"mutedAppIDs":[],"exemptsFrontmostApp":true})", "keyNotFound"},
        {"Snapshot", R"({"at":0,"interval":[0,0],"apps":[],"processes":[]})", "keyNotFound"},
        {"ProcessReading", readingWith("executablePath", "null")},
        {"ProcessReading", readingWith("name", "null"), "valueNotFound"},
        // Wrong types.
        {"ProcessReading", readingWith("pid", R"("1")"), "typeMismatch"},
        {"ProcessReading", readingWith("name", "5"), "typeMismatch"},
        {"ProcessReading", readingWith("isComplete", "1"), "typeMismatch"},
        {"ProcessReading", readingWith("startTime", R"("0")"), "typeMismatch"},
        {"ProcessReading", readingWith("cpuTime", "1.5"), "typeMismatch"},
        {"ProcessReading", readingWith("cpuTime", R"({"high":0,"low":1})"), "typeMismatch"},
        {"AlertSettings", R"({"rules":{"highCPU":{"isEnabled":true,"threshold":1,"window":[0,1]}},"cooldown":[0,0],)"
                          R"("mutedAppIDs":[],"exemptsFrontmostApp":true})", "typeMismatch"},
        {"AlertSettings", R"({"rules":[],"cooldown":[0,0],"mutedAppIDs":"a","exemptsFrontmostApp":true})", "typeMismatch"},
        {"NetworkBytesByPID", R"({"7":{"rx":1,"tx":2}})", "typeMismatch"},
        {"NetworkBytesByPID", R"(["7",{"rx":1,"tx":2}])", "typeMismatch"},
        {"Alert", R"({"id":"{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}","rule":"highCPU","app":)" + app +
                      R"("app"},"firedAt":0,"title":"","body":""})", "dataCorrupted"},
        {"AlertState", R"({"lastFired":[{"appID":"a","rule":"highCPU"}]})", "dataCorrupted"},
        // Numbers: what fits decodes, however it is written; what does not fit fails.
        {"ProcessReading", readingWith("pid", "2147483648"), "dataCorrupted"},
        {"ProcessReading", readingWith("pid", "-2147483649"), "dataCorrupted"},
        {"ProcessReading", readingWith("pid", "1.5"), "dataCorrupted"},
        {"ProcessReading", readingWith("uid", "4294967296"), "dataCorrupted"},
        {"ProcessReading", readingWith("energyNJ", "-1"), "dataCorrupted"},
        {"ProcessReading", readingWith("footprintBytes", "18446744073709551616"), "dataCorrupted"},
        {"ProcessReading", readingWith("footprintBytes", "1.8446744073709552e19"), "dataCorrupted"},
        {"ProcessReading", readingWith("cpuTime", "[0,18446744073709551616]"), "dataCorrupted"},
        {"ProcessReading", readingWith("cpuTime", "[0,-1]"), "dataCorrupted"},
        {"ProcessReading", readingWith("startTime", "1e400"), "dataCorrupted"},
        {"ProcessReading", readingWith("pid", "1.0")},
        {"ProcessReading", readingWith("pid", "1e2")},
        {"ProcessReading", readingWith("pid", "-0")},
        {"ProcessReading", readingWith("uid", "-0")},
        {"ProcessReading", readingWith("wakeups", "1E+2")},
        {"ProcessReading", readingWith("footprintBytes", "18446744073709551615")},
        {"ProcessReading", readingWith("footprintBytes", "9223372036854775808.0")},
        {"ProcessReading", readingWith("footprintBytes", "1.5e3")},
        {"ProcessReading", readingWith("startTime", "-0")},
        {"ProcessReading", readingWith("name", R"("-0")")},
        {"ProcessReading", readingWith("cpuTime", "[-0,0]")},
        {"ProcessReadingList", "[null]", "valueNotFound"},
        {"CPUStats", R"({"totalPercent":0,"userPercent":0,"systemPercent":0,"perCorePercent":[1,null],)"
                     R"("clusters":[],"loadAverage":{"one":0,"five":0,"fifteen":0}})", "valueNotFound"},
        {"ProcessReading", readingWith("startTime", "18446744073709551616")},
        {"ProcessReading", readingWith("startTime", "1e308")},
        {"ProcessReading", readingWith("startTime", "-0.0")},
        {"ProcessReading", readingWith("startTime", "721692800.12345678901234567890")},
        // Durations: two integers, high then low; Swift reads the first two.
        {"ProcessReading", readingWith("cpuTime", "[0,1,2]")},
        {"ProcessReading", readingWith("cpuTime", "[1]"), "valueNotFound"},
        {"ProcessReading", readingWith("cpuTime", "[]"), "valueNotFound"},
        // Collections.
        {"AlertSettings", R"({"rules":[],"cooldown":[0,0],"mutedAppIDs":["a","a"],"exemptsFrontmostApp":true})"},
        {"AlertState", R"({"lastFired":[{"appID":"a","rule":"highCPU"},1,{"appID":"a","rule":"highCPU"},2]})"},
        {"NetworkBytesByPID", R"([7,{"rx":1,"tx":2},7,{"rx":3,"tx":4}])"},
        {"Alert", R"({"id":"e621e1f8-c36c-495a-93fc-0c247a3e6e5f","rule":"highCPU","app":)" + app +
                      R"("app"},"firedAt":0,"title":"","body":""})"},
        {"ProcessReading", R"({"pid":1})", "keyNotFound"},
        {"ProcessReadingList", "[]"},
        {"ProcessReadingList", "{}", "typeMismatch"},
        {"ProcessReadingList", "[1]", "typeMismatch"},
        {"ProcessReading", "[", "dataCorrupted"},
        {"ProcessReading", "", "dataCorrupted"},
    };
}

// The peer's values, built from the documented examples, and what they are here.
void expectExamples(const Corpus& corpus, const fs::path& dir, std::vector<std::string>& problems) {
    auto check = [&]<class T>(const std::string& record, const std::string& label, const T& expected) {
        auto file = dir / record / (label + ".json");
        if (!fs::exists(file)) {
            problems.push_back(fmt::format("examples/{}/{}: the peer wrote nothing", record, label));
            return;
        }
        try {
            for (auto& d : corpus.get<T>(record).checkExample(file, expected)) {
                problems.push_back(fmt::format("examples/{}/{}: {}", record, label, d));
            }
        } catch (const json::DecodingError& e) {
            problems.push_back(fmt::format("examples/{}/{}: does not decode here: {}", record, label, e.what()));
        }
    };
    check("ProcessReading", "complete",
          ProcessReading{4242, 1, 501, "Safari", "/Applications/Safari.app/Contents/MacOS/Safari",
                         Date::fromUnixSeconds(1'700'000'000), Duration::seconds(20), 123'456'789, uint64_t(1) << 40, 7,
                         UINT64_MAX, true, 99});
    check("ProcessReading", "incomplete",
          ProcessReading{1, 0, 0, "launchd", std::nullopt, Date{-0.5}, Duration::zero(), 0, 0, 0, 0, false, 0});
    check("ProcessReading", "twoAndAHalfSeconds",
          ProcessReading{-1, INT32_MIN, UINT32_MAX, "é中😀", "", Date{721692800.123456789}, Duration::milliseconds(2500),
                         1, 2, 3, 4, true, 5});
    check("ProcessReadingList", "empty", std::vector<ProcessReading>{});
    check("TerminationTarget", "app", TerminationTarget{termination::App{"app:com.example", {501, 502}}});
    check("TerminationTarget", "process", TerminationTarget{termination::Process{4242}});
    check("TerminationTarget", "processGroup", TerminationTarget{termination::ProcessGroup{4242}});
    check("TerminationTarget", "container", TerminationTarget{termination::Container{"c0ffee", "web"}});
    check("ConfirmedTermination", "forceQuit",
          ConfirmedTermination{termination::Process{77}, TerminationMode::forceQuit, Date{1}});
    check("ProjectActivity", "working", ProjectActivity{activity::Working{}});
    check("ProjectActivity", "idle", ProjectActivity{activity::Idle{12}});
    check("ProjectActivity", "barelyUsed", ProjectActivity{activity::BarelyUsed{}});
    check("PeriodChange", "rise", PeriodChange{RelativeChange{0.25}});
    check("PeriodChange", "fall", PeriodChange{RelativeChange{-0.1}});
    check("PeriodChange", "new", PeriodChange{NewChange{}});
    check("AlertSettings", "defaults", AlertSettings::defaults());
    check("AlertState", "one", AlertState{{{AlertKey{"app:com.example", AlertRule::heavyDisk}, Date{721692800.25}}}});
    check("EnergyCoefficients", "builtIn", EnergyCoefficients::builtIn);
    check("LoadAverage", "zero", LoadAverage::zero());
    check("Alert", "fixedID",
          Alert{*UUID::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F"), AlertRule::highCPU,
                AppIdentity{"app:x", "X", std::nullopt, "x", AppIdentity::Kind::app}, Date{0}, "X", "Y"});
    check("NetworkBytesByPID", "two", NetworkBytesByPID{{7, NetworkByteCounts{1, 2}}});
    check("BatteryStats", "onAC",
          BatteryStats{80, true, BatteryStats::PowerSource::ac, Duration::seconds(-1), std::nullopt, 100, std::nullopt});
}

// Runs `program arguments…` and waits for it; its output goes to ours.
int run(const std::vector<std::string>& command) {
    std::vector<char*> argv;
    for (const auto& a : command) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t child = fork();
    if (child == 0) {
        execv(argv[0], argv.data());
        _exit(127);
    }
    if (child < 0) return -1;
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class SwiftPeer : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        const char* peer = std::getenv("ORVANTINE_SWIFT_PEER");
        if (peer == nullptr || !fs::exists(peer)) return;
        auto lap = [started = std::chrono::steady_clock::now()](const char* what) mutable {
            auto now = std::chrono::steady_clock::now();
            std::printf("%s: %.2f s\n", what, std::chrono::duration<double>(now - started).count());
            started = now;
        };
        dir_ = new test::TempDir;
        live_ = new LiveValues(readThisMachine());
        lap("reading this machine");
        corpus_ = new Corpus(*live_);
        auto in = dir_->path() / "corpus";
        for (const auto& record : corpus_->records()) record->writeValues(in / "records");
        auto all = inputs();
        for (size_t i = 0; i < all.size(); ++i) {
            writeFile(in / "inputs" / all[i].record / fmt::format("{}.json", i), all[i].text);
        }
        lap("writing the corpus");
        peerStatus_ = run({peer, in.string(), (dir_->path() / "out").string()});
        lap("the peer");
    }
    static void TearDownTestSuite() {
        delete corpus_;
        delete live_;
        delete dir_;
        corpus_ = nullptr;
        live_ = nullptr;
        dir_ = nullptr;
    }
    void SetUp() override {
        if (corpus_ == nullptr) GTEST_SKIP() << "no Swift peer: ORVANTINE_SWIFT_PEER names no program";
    }
    static fs::path out() { return dir_->path() / "out"; }

    static inline test::TempDir* dir_ = nullptr;
    static inline LiveValues* live_ = nullptr;
    static inline Corpus* corpus_ = nullptr;
    static inline int peerStatus_ = -1;
};

std::string firstFew(const std::vector<std::string>& problems) {
    std::string text;
    for (size_t i = 0; i < problems.size() && i < 40; ++i) text += problems[i] + "\n";
    if (problems.size() > 40) text += fmt::format("… and {} more\n", problems.size() - 40);
    return text;
}

TEST_F(SwiftPeer, ThisMachineGaveLiveValues) {
    EXPECT_FALSE(live_->readings.empty());
    EXPECT_FALSE(live_->snapshot.processes.empty());
    EXPECT_FALSE(live_->snapshot.system.cpu.perCorePercent.empty());
}

TEST_F(SwiftPeer, DecodesEveryRecordWeWrite) {
    // The peer names each record and coding path it could not decode.
    EXPECT_EQ(peerStatus_, 0);
}

TEST_F(SwiftPeer, EveryRecordComesBackFieldForField) {
    std::vector<std::string> problems;
    size_t values = 0;
    for (const auto& record : corpus_->records()) {
        auto found = record->checkValues(out() / "records");
        problems.insert(problems.end(), found.begin(), found.end());
        values += record->valueCount();
    }
    std::printf("%zu record types, %zu values through Swift and back\n", corpus_->records().size(), values);
    EXPECT_TRUE(problems.empty()) << problems.size() << " differences:\n" << firstFew(problems);
}

TEST_F(SwiftPeer, ThePeersOwnValuesReadAsTheyWereMeant) {
    std::vector<std::string> problems;
    expectExamples(*corpus_, out() / "examples", problems);
    EXPECT_TRUE(problems.empty()) << firstFew(problems);
}

TEST_F(SwiftPeer, HandWrittenDocumentsDecodeOrFailAlikeOnBothSides) {
    struct PeerVerdict {
        std::string outcome, kind, path, description;
    };
    std::map<std::string, PeerVerdict> peer;
    std::istringstream lines(readFile(out() / "inputs.tsv"));
    for (std::string line; std::getline(lines, line);) {
        std::vector<std::string> fields;
        std::istringstream parts(line);
        for (std::string field; std::getline(parts, field, '\t');) fields.push_back(field);
        fields.resize(5);
        peer[fields[0]] = {fields[1], fields[2], fields[3], fields[4]};
    }
    auto all = inputs();
    std::vector<std::string> problems;
    for (size_t i = 0; i < all.size(); ++i) {
        const Input& input = all[i];
        auto label = fmt::format("{}/{}.json", input.record, i);
        auto what = fmt::format("{} {}", label, input.text.substr(0, 160));
        const WireRecord* record = corpus_->find(input.record);
        if (record == nullptr) {
            problems.push_back(what + ": no such record here");
            continue;
        }
        auto ours = record->decodeError(input.text);
        auto it = peer.find(label);
        if (it == peer.end()) {
            problems.push_back(what + ": the peer did not report it");
            continue;
        }
        const PeerVerdict& swift = it->second;
        std::string expected = input.failsWith.empty() ? "decoded" : "failed " + input.failsWith;
        std::string swiftGot = swift.outcome == "decoded" ? "decoded" : "failed " + swift.kind;
        std::string oursGot = ours ? std::string("failed ") + kindName(ours->kind()) : "decoded";
        if (swiftGot != expected) {
            problems.push_back(fmt::format("{}: Swift {} ({} at {}), expected {}", what, swiftGot, swift.description,
                                           swift.path, expected));
        }
        if (oursGot != expected) {
            problems.push_back(fmt::format("{}: ours {} ({}), expected {}", what, oursGot, ours ? ours->what() : "",
                                           expected));
        }
        if (!input.description.empty()) {
            if (swift.description.find(input.description) == std::string::npos) {
                problems.push_back(fmt::format("{}: Swift said \"{}\"", what, swift.description));
            }
            if (!ours || ours->description().find(input.description) == std::string::npos) {
                problems.push_back(fmt::format("{}: we said \"{}\"", what, ours ? ours->description() : ""));
            }
        }
        // What both read, both read alike.
        if (!ours && swift.outcome == "decoded") {
            auto again = readFile(out() / "inputs" / input.record / fmt::format("{}.json", i));
            try {
                for (auto& d : record->compareDocuments(input.text, again)) problems.push_back(what + ": " + d);
            } catch (const json::DecodingError& e) {
                problems.push_back(what + ": the peer's document does not decode here: " + e.what());
            }
        }
    }
    EXPECT_TRUE(problems.empty()) << problems.size() << " disagreements:\n" << firstFew(problems);
}

}  // namespace
}  // namespace orv
