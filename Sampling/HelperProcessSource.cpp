#include "Sampling/HelperProcessSource.h"

#include "Sampling/HelperIdentity.h"
#include "Sampling/ResumeOnce.h"
#include "core/DecodingError.h"
#include "core/JsonCoding.h"
#include "core/RecordArrayDecoder.h"

namespace orv {

std::shared_ptr<HelperProcessSource> HelperProcessSource::make(std::shared_ptr<ProcessSource> local,
                                                               std::optional<std::string> teamID,
                                                               std::shared_ptr<HelperTransport> transport,
                                                               TimerQueue& timers, SamplingExecutor& executor) {
    return std::make_shared<HelperProcessSource>(Token{}, std::move(local), std::move(teamID), std::move(transport),
                                                 timers, executor);
}

HelperProcessSource::HelperProcessSource(Token, std::shared_ptr<ProcessSource> local, std::optional<std::string> teamID,
                                         std::shared_ptr<HelperTransport> transport, TimerQueue& timers,
                                         SamplingExecutor& executor)
    : local_(std::move(local)),
      requirement_(HelperIdentity::requirement(HelperIdentity::helperBundleID, teamID)),
      transport_(std::move(transport)),
      // Each reply is mostly the last one again; the decoder reuses the
      // records of unchanged elements. It runs on the executor only.
      readingsDecoder_([decoder = std::make_shared<json::RecordArrayDecoder<ProcessReading>>()](
                           const std::string& bytes) { return decoder->decode(bytes); }),
      timers_(timers),
      executor_(executor) {}

void HelperProcessSource::setEnabled(bool enabled) {
    onExecutor([this, enabled] {
        isEnabled_ = enabled && requirement_.has_value();
        if (!isEnabled_ && connection_) {
            auto dropped = std::exchange(connection_, nullptr);
            dropped->invalidate();
        }
    });
}

void HelperProcessSource::setReadingsDecoder(ReadingsDecoder decoder) {
    onExecutor([this, &decoder] { readingsDecoder_ = std::move(decoder); });
}

bool HelperProcessSource::isEnabled() {
    return onExecutor([this] { return isEnabled_; });
}

bool HelperProcessSource::hasConnection() {
    return onExecutor([this] { return connection_ != nullptr; });
}

std::future<std::vector<ProcessReading>> HelperProcessSource::sample() { return sample(PidSet{}); }

std::future<std::vector<ProcessReading>> HelperProcessSource::sample(const PidSet& skippingUsageFor) {
    auto promise = std::make_shared<std::promise<std::vector<ProcessReading>>>();
    auto future = promise->get_future();
    executor_.run([self = shared_from_this(), skip = skippingUsageFor, promise] {
        self->sampleOnExecutor(
            skip, [promise](Answer answer) { promise->set_value(std::move(answer.readings)); },
            [promise](std::exception_ptr e) { promise->set_exception(e); });
    });
    return future;
}

std::future<HelperProcessSource::Answer> HelperProcessSource::sampleWithOrigin(const PidSet& skippingUsageFor) {
    auto promise = std::make_shared<std::promise<Answer>>();
    auto future = promise->get_future();
    executor_.run([self = shared_from_this(), skip = skippingUsageFor, promise] {
        self->sampleOnExecutor(
            skip, [promise](Answer answer) { promise->set_value(std::move(answer)); },
            [promise](std::exception_ptr e) { promise->set_exception(e); });
    });
    return future;
}

void HelperProcessSource::sampleOnExecutor(const PidSet& skip, std::function<void(Answer)> done,
                                           std::function<void(std::exception_ptr)> failed) {
    // The local sampler runs inline here, on its own executor; a failure of
    // its own is the caller's to see, as with the local sampler alone.
    auto useLocal = [self = shared_from_this(), skip, done, failed] {
        try {
            done(Answer{self->local_->sample(skip).get(), Origin::local});
        } catch (...) {
            failed(std::current_exception());
        }
    };
    if (!isEnabled_) {
        useLocal();
        return;
    }
    // The helper reads every process in full, so the skip set is not sent.
    helperReadings([done, useLocal](std::optional<std::vector<ProcessReading>> readings) {
        if (readings) done(Answer{std::move(*readings), Origin::helper});
        else useLocal();
    });
}

std::shared_ptr<HelperConnection> HelperProcessSource::connection() {
    if (!requirement_) return nullptr;
    if (connection_) return connection_;
    auto made = transport_->connect(*requirement_);
    if (!made) return nullptr;
    const HelperConnection* identity = made.get();
    std::weak_ptr<HelperProcessSource> weak = weak_from_this();
    made->setInvalidationHandler([weak, identity] {
        auto self = weak.lock();
        if (!self) return;
        // Back onto the executor before touching the connection; the check of
        // identity keeps an old connection's late notice from dropping a newer one.
        self->executor_.enqueue([self, identity] { self->connectionInvalidated(identity); });
    });
    made->resume();
    connection_ = made;
    return made;
}

void HelperProcessSource::connectionInvalidated(const HelperConnection* which) {
    if (connection_.get() == which) connection_.reset();
}

void HelperProcessSource::request(HelperProtocol::Method method, ResumeOnce::Continuation done) {
    auto connection = this->connection();
    if (!connection) {
        done(std::nullopt);
        return;
    }
    // Whichever comes first of reply, error and time limit resumes the
    // caller, back on the executor; the others find it already resumed.
    auto once = std::make_shared<ResumeOnce>(
        [self = shared_from_this(), done = std::move(done)](std::optional<std::string> bytes) {
            self->executor_.enqueue([done, bytes = std::move(bytes)]() mutable { done(std::move(bytes)); });
        });
    timers_.schedule(replyLimit, [once] { once->resume(std::nullopt); });
    auto log = log_;
    connection->send(
        method, [once](std::optional<std::string> data) { once->resume(std::move(data)); },
        [once, log](const std::string& description) {
            log.notice("Helper unreachable: " + description);
            once->resume(std::nullopt);
        });
}

void HelperProcessSource::helperReadings(Completion completion) {
    request(HelperProtocol::Method::sample,
            [self = shared_from_this(), completion](std::optional<std::string> bytes) {
                completion(self->decode(bytes));
            });
}

std::future<std::optional<NetworkBytesByPID>> HelperProcessSource::helperNetworkBytes() {
    auto promise = std::make_shared<std::promise<std::optional<NetworkBytesByPID>>>();
    auto future = promise->get_future();
    executor_.run([self = shared_from_this(), promise] {
        if (!self->isEnabled_) {
            promise->set_value(std::nullopt);
            return;
        }
        self->request(HelperProtocol::Method::networkBytes, [self, promise](std::optional<std::string> bytes) {
            if (!bytes) {
                promise->set_value(std::nullopt);
                return;
            }
            std::optional<NetworkBytesByPID> decoded;
            try {
                decoded = json::decode<NetworkBytesByPID>(*bytes);
            } catch (const std::exception& e) {
                self->log_.error(std::string("Helper sent unreadable data: ") + e.what());
            } catch (...) {
                self->log_.error("Helper sent unreadable data: unknown failure");
            }
            promise->set_value(std::move(decoded));
        });
    });
    return future;
}

std::optional<std::vector<ProcessReading>> HelperProcessSource::decode(const std::optional<std::string>& bytes) {
    if (!bytes) return std::nullopt;
    // Not only the decoder's own errors: a huge reply can fail to allocate,
    // and nothing may escape onto the executor's thread.
    try {
        return readingsDecoder_(*bytes);
    } catch (const std::exception& e) {
        log_.error(std::string("Helper sent unreadable data: ") + e.what());
    } catch (...) {
        log_.error("Helper sent unreadable data: unknown failure");
    }
    return std::nullopt;
}

}  // namespace orv
