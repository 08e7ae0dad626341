#include "Sampling/HelperDevServerPort.h"

#include <future>

#include "Sampling/HelperIdentity.h"
#include "core/DecodingError.h"
#include "core/JsonCoding.h"

namespace orv {

HelperDevServerPort::HelperDevServerPort(std::unique_ptr<DevServerPort> local, std::optional<std::string> teamID,
                                         std::shared_ptr<HelperTransport> transport)
    : local_(std::move(local)),
      requirement_(HelperIdentity::requirement(HelperIdentity::helperBundleID, teamID)),
      transport_(std::move(transport)) {}

std::optional<std::vector<ListeningPort>> HelperDevServerPort::askHelper() {
    if (!requirement_ || !transport_) return std::nullopt;
    auto connection = transport_->connect(*requirement_);
    if (!connection) return std::nullopt;
    connection->setInvalidationHandler([] {});
    connection->resume();
    // The reply or the error may come after the wait gave up: they settle a
    // promise that outlives this call.
    auto promise = std::make_shared<std::promise<std::optional<std::string>>>();
    auto settled = std::make_shared<std::once_flag>();
    auto future = promise->get_future();
    auto log = log_;
    connection->send(
        HelperProtocol::Method::listeningPorts,
        [promise, settled](std::optional<std::string> data) {
            std::call_once(*settled, [&] { promise->set_value(std::move(data)); });
        },
        [promise, settled, log](const std::string& description) {
            log.notice("Helper unreachable: " + description);
            std::call_once(*settled, [&] { promise->set_value(std::nullopt); });
        });
    std::optional<std::string> bytes;
    if (future.wait_for(replyLimit) == std::future_status::ready) bytes = future.get();
    connection->invalidate();
    if (!bytes) return std::nullopt;
    try {
        return json::decode<std::vector<ListeningPort>>(*bytes);
    } catch (const json::DecodingError& e) {
        log_.error(std::string("Helper sent unreadable data: ") + e.what());
        return std::nullopt;
    }
}

std::vector<ListeningPort> HelperDevServerPort::listeningPorts() {
    if (auto ports = askHelper()) {
        lastFromHelper_ = true;
        return *ports;
    }
    lastFromHelper_ = false;
    return local_->listeningPorts();
}

}  // namespace orv
