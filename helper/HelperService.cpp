#include "helper/HelperService.h"

#include <cmath>

#include "helper/HelperInfo.h"
#include "core/JsonCoding.h"
#include "core/RecordArrayEncoder.h"

namespace orv {

HelperService::HelperService(std::shared_ptr<ProcessSource> sampler, std::optional<PropertyValue> info,
                             SamplingExecutor& executor, Encoder encoder,
                             std::shared_ptr<ProcessNetworkSource> network)
    : sampler_(std::move(sampler)),
      version_(HelperInfo::stringValue(info, HelperInfo::versionKey).value_or("0")),
      executor_(executor),
      encoder_(std::move(encoder)),
      network_(std::move(network)) {}

HelperService::Encoder HelperService::defaultEncoder() {
    // Most of a table is the same from one sample to the next; the encoder
    // keeps each process's last text. It runs on the sampling thread only.
    auto encoder = std::make_shared<json::RecordArrayEncoder<ProcessReading>>();
    return [encoder](const std::vector<ProcessReading>& readings) -> std::optional<std::string> {
        // A date that is not a finite number has no JSON form; the standard
        // encoder refuses it rather than write something unreadable.
        for (const auto& r : readings) {
            if (!std::isfinite(r.startTime.secondsSinceReferenceDate)) return std::nullopt;
        }
        try {
            return encoder->encode(readings);
        } catch (...) {
            return std::nullopt;
        }
    };
}

void HelperService::sampleWithReply(DataReply reply) {
    executor_.enqueue([sampler = sampler_, encoder = encoder_, network = network_, reply = std::move(reply)] {
        std::vector<ProcessReading> readings;
        try {
            readings = sampler->sample().get();
        } catch (...) {
            // The failure is not the client's business: it gets an empty list.
            reply(std::string("[]"));
            return;
        }
        // The answer first: the accounting's bookkeeping can wait for it.
        reply(encoder(readings));
        if (network) network->observe(readings);
    });
}

void HelperService::networkBytesWithReply(DataReply reply) {
    if (!network_) {
        reply(std::nullopt);
        return;
    }
    // The accounting bounds its own wait; the sampling thread is where the
    // requests of one client are answered in turn.
    executor_.enqueue([network = network_, reply = std::move(reply)] {
        std::optional<NetworkBytesByPID> bytes;
        try {
            bytes = network->cumulativeBytes().get();
        } catch (...) {
        }
        if (!bytes) {
            reply(std::nullopt);
            return;
        }
        reply(json::encode(*bytes));
    });
}

void HelperService::listeningPortsWithReply(DataReply reply) {
    executor_.enqueue([reader = portsReader_, reply = std::move(reply)] {
        if (!reader) {
            reply(std::string("[]"));
            return;
        }
        try {
            reply(json::encode(reader()));
        } catch (...) {
            reply(std::string("[]"));
        }
    });
}

void HelperService::versionWithReply(const VersionReply& reply) const { reply(version_); }

}  // namespace orv
