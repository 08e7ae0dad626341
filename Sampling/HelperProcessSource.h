#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Sampling/HelperTransport.h"
#include "Sampling/ResumeOnce.h"
#include "Sampling/TimerQueue.h"
#include "core/Logger.h"
#include "core/NetworkByteCounts.h"
#include "core/ProcessSource.h"
#include "core/SamplingExecutor.h"

namespace orv {

// The application's ProcessSource: when enabled it asks the privileged
// helper, and whenever the helper cannot answer (disabled, absent, slower
// than one second, unreadable reply) it uses the local sampler for that one
// sample. Callers always get a list; the helper's failures reach only the
// log. Confined to the sampling executor; create it with `make`.
class HelperProcessSource : public ProcessSource, public std::enable_shared_from_this<HelperProcessSource> {
public:
    // One second on the continuous clock, then the local sample is used.
    static constexpr Duration replyLimit = Duration::seconds(1);

    enum class Origin { helper, local };
    struct Answer {
        std::vector<ProcessReading> readings;
        Origin origin = Origin::local;
    };

    static std::shared_ptr<HelperProcessSource> make(std::shared_ptr<ProcessSource> local,
                                                     std::optional<std::string> teamID,
                                                     std::shared_ptr<HelperTransport> transport = makeHelperTransport(),
                                                     TimerQueue& timers = TimerQueue::shared(),
                                                     SamplingExecutor& executor = SamplingExecutor::shared());

    // Enabled only when a requirement could be built; disabling drops the
    // connection at once. Returns when the change is made.
    void setEnabled(bool enabled);
    bool isEnabled();
    bool hasConnection();

    std::future<std::vector<ProcessReading>> sample() override;
    std::future<std::vector<ProcessReading>> sample(const PidSet& skippingUsageFor) override;
    // The same, saying which source answered.
    std::future<Answer> sampleWithOrigin(const PidSet& skippingUsageFor = {});

    // Every process's cumulative network bytes from the helper (Linux),
    // within the same one-second limit; absent when the client is disabled,
    // or the helper is unreachable, late, has no accounting or sends
    // something unreadable.
    std::future<std::optional<NetworkBytesByPID>> helperNetworkBytes();

    const std::optional<std::string>& requirement() const { return requirement_; }

    // How a sample reply's bytes become readings: the JSON coding, unless a
    // test puts a failing one in its place. Whatever it throws, the reply
    // counts as unreadable and the local sample answers.
    using ReadingsDecoder = std::function<std::vector<ProcessReading>(const std::string&)>;
    void setReadingsDecoder(ReadingsDecoder decoder);

    // Use `make`; public only for make_shared.
    struct Token {};
    HelperProcessSource(Token, std::shared_ptr<ProcessSource> local, std::optional<std::string> teamID,
                        std::shared_ptr<HelperTransport> transport, TimerQueue& timers, SamplingExecutor& executor);

private:
    using Completion = std::function<void(std::optional<std::vector<ProcessReading>>)>;

    // All of these run on the executor.
    template <class F>
    auto onExecutor(F work) { return executor_.run(std::move(work)).get(); }
    void sampleOnExecutor(const PidSet& skip, std::function<void(Answer)> done,
                          std::function<void(std::exception_ptr)> failed);
    // Sends one request; `done` gets the reply's bytes, or nothing after an
    // error, the one-second limit or without a connection, on the executor.
    void request(HelperProtocol::Method method, ResumeOnce::Continuation done);
    void helperReadings(Completion completion);
    std::shared_ptr<HelperConnection> connection();
    std::optional<std::vector<ProcessReading>> decode(const std::optional<std::string>& bytes);
    void connectionInvalidated(const HelperConnection* which);

    std::shared_ptr<ProcessSource> local_;
    std::optional<std::string> requirement_;
    std::shared_ptr<HelperConnection> connection_;
    bool isEnabled_ = false;
    std::shared_ptr<HelperTransport> transport_;
    ReadingsDecoder readingsDecoder_;
    TimerQueue& timers_;
    SamplingExecutor& executor_;
    Logger log_{"app.orvantine.sampling", "helper"};
};

}  // namespace orv
