#include "cli/SamplingSession.h"

#include <string>
#include <string_view>

#include "Sampling/HelperDevServerPort.h"
#include "Sampling/HelperNetworkSource.h"
#include "Sampling/HelperProcessSource.h"
#include "Sampling/ProcessNetworkSampler.h"
#include "Sampling/ProcessSampler.h"
#include "core/LeftToExit.h"

namespace orv::cli {

namespace {

// The team the helper must be signed by: the one this command was built
// for, passed in as the application passes its own. A plain build has none,
// and its client stays disabled and always reads locally.
std::optional<std::string> builtTeam() {
    std::string_view team = ORVANTINE_TEAM_ID;
    return team.empty() ? std::nullopt : std::optional<std::string>(team);
}

// Passes every line on but the helper client's.
class QuietHelperClientSink : public LogSink {
public:
    explicit QuietHelperClientSink(std::shared_ptr<LogSink> next) : next_(std::move(next)) {}
    void write(std::string_view subsystem, std::string_view category, LogLevel level,
               std::string_view message) override {
        if (subsystem == "app.orvantine.sampling" && category == "helper") return;
        next_->write(subsystem, category, level, message);
    }

private:
    std::shared_ptr<LogSink> next_;
};

}  // namespace

SamplingSession::SamplingSession() : SamplingSession(Options{}) {}

SamplingSession::SamplingSession(Options options) : options_(options) {}

SamplingSession::~SamplingSession() {
    if (helper_) helper_->setEnabled(false);
    if (previousSink_) LogSink::install(previousSink_);
}

std::shared_ptr<ProcessSource> SamplingSession::processSource() {
    if (!local_) {
        local_ = std::make_shared<ProcessSampler>(
            makeProcessTablePort("/", options_.onePass ? ProcessTablePasses::one : ProcessTablePasses::many));
        if (options_.helper) {
            if (options_.quietHelper) {
                previousSink_ = LogSink::install(std::make_shared<QuietHelperClientSink>(LogSink::current()));
            }
            helper_ = HelperProcessSource::make(local_, builtTeam());
            // Without a team the client cannot be enabled and reads locally.
            helper_->setEnabled(true);
        }
    }
    if (helper_) return helper_;
    return local_;
}

SamplingSession::ProcessPass SamplingSession::readProcesses() {
    processSource();
    if (!helper_) return ProcessPass{local_->sample().get(), Origin::local};
    auto answer = helper_->sampleWithOrigin().get();
    return ProcessPass{std::move(answer.readings),
                       answer.origin == HelperProcessSource::Origin::helper ? Origin::helper : Origin::local};
}

SnapshotBuilder::Parts SamplingSession::machineParts() {
    auto parts = SnapshotBuilder::machineParts(SamplingExecutor::shared(), processSource());
    // Network bytes come the way readings come: through the helper when it
    // is asked, with the local accounting as its fallback.
    if (helper_) parts.processNetwork = std::make_shared<HelperNetworkSource>(helper_, parts.processNetwork);
    return parts;
}

std::vector<BluetoothBatteries::Reading> SamplingSession::peripherals() { return peripherals_->current(); }

std::unique_ptr<SnapshotBuilder> SamplingSession::snapshotBuilder() {
    auto builder = std::make_unique<SnapshotBuilder>(machineParts(), SamplingExecutor::shared());
    // Shared, so that the builder may outlive the session.
    builder->setPeripheralSource([peripherals = peripherals_] { return peripherals->current(); });
    return builder;
}

void SamplingSession::finish() {
    if (helper_) helper_->setEnabled(false);
    if (!local_) return;
    // Never freed, on purpose: a static container would be destroyed at
    // exit, and that destruction is the cost this avoids.
    static auto* const leftToExit = [] {
        auto* kept = new std::vector<std::shared_ptr<ProcessSampler>>();
        leaveToExit(kept);
        return kept;
    }();
    leftToExit->push_back(local_);
}

std::unique_ptr<DevServerPort> SamplingSession::devServerPort() {
    if (!options_.helper) return makeDevServerPort();
    return std::make_unique<HelperDevServerPort>(makeDevServerPort(), builtTeam());
}

}  // namespace orv::cli
