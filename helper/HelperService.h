#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Sampling/ProcessNetworkSource.h"
#include "core/ListeningPort.h"
#include "core/ProcessSource.h"
#include "core/PropertyValue.h"
#include "core/SamplingExecutor.h"

namespace orv {

// What the helper answers, shared by every connection: a process sample as
// the JSON of its readings, the helper's build version, and (Linux) every
// process's cumulative network bytes.
class HelperService {
public:
    using DataReply = std::function<void(std::optional<std::string>)>;
    using VersionReply = std::function<void(std::string)>;
    // Readings to JSON bytes, or nothing when they cannot be encoded.
    using Encoder = std::function<std::optional<std::string>(const std::vector<ProcessReading>&)>;
    // Every listening TCP socket with its owner; may throw SamplingError.
    using PortsReader = std::function<std::vector<ListeningPort>()>;

    // `sampler` must answer inline when called on `executor` (ProcessSampler
    // does); its caches then persist across requests and connections.
    // `info` is the helper's Info.plist dictionary.
    // `network`, when given, lives as long as the service, so its counts
    // cover the helper's whole life; it sees each sample's readings.
    HelperService(std::shared_ptr<ProcessSource> sampler, std::optional<PropertyValue> info,
                  SamplingExecutor& executor = SamplingExecutor::shared(), Encoder encoder = defaultEncoder(),
                  std::shared_ptr<ProcessNetworkSource> network = nullptr);

    // Returns at once; `reply` runs exactly once, later, on the sampling
    // thread: the JSON bytes, "[]" when the sampler failed, nothing when
    // encoding failed.
    void sampleWithReply(DataReply reply);
    // Returns at once; `reply` runs exactly once, later: the JSON of the
    // per-pid bytes (a flat array of pid and {"rx", "tx"}), nothing when
    // there is no accounting.
    void networkBytesWithReply(DataReply reply);
    // The accounting this platform's helper serves: null on macOS.
    static std::shared_ptr<ProcessNetworkSource> platformNetworkSource();
    // Returns at once; `reply` runs once, later, on the sampling thread:
    // the JSON of the listening ports, "[]" without a reader or when it
    // failed.
    void listeningPortsWithReply(DataReply reply);
    // Set before the first request is served.
    void setPortsReader(PortsReader reader) { portsReader_ = std::move(reader); }
    // Replies before returning: "CFBundleVersion", or "0" without one.
    void versionWithReply(const VersionReply& reply) const;

    static Encoder defaultEncoder();

private:
    std::shared_ptr<ProcessSource> sampler_;
    std::string version_;
    SamplingExecutor& executor_;
    Encoder encoder_;
    std::shared_ptr<ProcessNetworkSource> network_;
    PortsReader portsReader_;
};

}  // namespace orv
