#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "PrivateAPIs/BluetoothBatteries.h"
#include "Sampling/PeripheralBatteries.h"
#include "Sampling/DevServerPort.h"
#include "Sampling/SnapshotBuilder.h"
#include "core/LogSink.h"
#include "core/ProcessReading.h"
#include "core/ProcessSource.h"

namespace orv {
class ProcessSampler;
class HelperProcessSource;
}  // namespace orv

namespace orv::cli {

// Where every command gets what it reads: the one place that wires this
// machine's samplers and the privileged helper's client together. A
// command makes one session, asks it for the parts it needs, and calls
// `finish` when it is done.
class SamplingSession {
public:
    struct Options {
        // Read processes through the privileged helper, falling back to the
        // local pass whenever it does not answer.
        bool helper = false;
        // Drop the helper client's log lines for the life of the session, so
        // that the fallback is silent.
        bool quietHelper = false;
        // The command reads the processes once and exits: the local sampler
        // keeps no descriptors for a next pass.
        bool onePass = false;
    };

    // Which source answered a pass.
    enum class Origin { helper, local };
    struct ProcessPass {
        std::vector<ProcessReading> readings;
        Origin origin = Origin::local;
    };

    SamplingSession();
    explicit SamplingSession(Options options);
    ~SamplingSession();
    SamplingSession(const SamplingSession&) = delete;
    SamplingSession& operator=(const SamplingSession&) = delete;

    // The local process sampler, or (with `helper`) the helper's client
    // over it; the same source for every part of the session.
    std::shared_ptr<ProcessSource> processSource();
    ProcessSource& processes() { return *processSource(); }
    // One pass over the processes, saying which source answered.
    ProcessPass readProcesses();

    // This machine's readers around `processSource()`: the CPU, memory,
    // disk and network samplers, the GPU, battery, thermal and sensor
    // readers, the uptime, the app classifier and the energy model. A new
    // set on every call, owned by the caller.
    SnapshotBuilder::Parts machineParts();
    // The Bluetooth peripherals' batteries for the sensors part, read on
    // the thread that asks (the main thread: macOS reads them there only)
    // when first asked and again once a minute.
    std::vector<BluetoothBatteries::Reading> peripherals();
    // A snapshot builder over `machineParts()` and `peripherals()`, which it
    // asks on every build.
    std::unique_ptr<SnapshotBuilder> snapshotBuilder();

    // The listening sockets and their owners: through the privileged
    // helper (every user's, falling back to the local reading) with
    // `helper`, else this user's own.
    std::unique_ptr<DevServerPort> devServerPort();

    // The command is done and its process ends next: drops the helper's
    // connection at once, and leaves the local sampler, with the thousands
    // of /proc descriptors it keeps, for the kernel to drop at exit, which
    // costs less than closing them one by one.
    void finish();

private:
    Options options_;
    std::shared_ptr<ProcessSampler> local_;
    std::shared_ptr<HelperProcessSource> helper_;
    std::shared_ptr<LogSink> previousSink_;  // set while the helper is kept quiet
    std::shared_ptr<PeripheralBatteries> peripherals_ = std::make_shared<PeripheralBatteries>();
};

}  // namespace orv::cli
