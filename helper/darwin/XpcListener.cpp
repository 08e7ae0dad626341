// The helper's Mach service over the XPC C API. Every peer gets the client
// requirement, so the system refuses messages from anything but the signed
// application; the helper itself never inspects the peer. Requests name
// their method by selector under "method".
#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <cstdlib>
#include <fmt/format.h>

#include "HelperProtocol/Methods.h"
#include "Sampling/HelperIdentity.h"
#include "core/Logger.h"
#include "helper/HelperListener.h"

namespace orv {

namespace {

class XpcListener : public HelperListener {
public:
    explicit XpcListener(std::shared_ptr<ListenerDelegate> delegate) : delegate_(std::move(delegate)) {}

    bool resume() override {
        listener_ = xpc_connection_create_mach_service(std::string(HelperIdentity::machServiceName).c_str(), nullptr,
                                                       XPC_CONNECTION_MACH_SERVICE_LISTENER);
        if (!listener_) {
            log_.error("Cannot create the Mach service listener");
            return false;
        }
        std::shared_ptr<ListenerDelegate> delegate = delegate_;
        Logger log = log_;
        xpc_connection_set_event_handler(listener_, ^(xpc_object_t peer) {
          if (xpc_get_type(peer) == XPC_TYPE_CONNECTION) accept(delegate, log, static_cast<xpc_connection_t>(peer));
        });
        xpc_connection_resume(listener_);
        return true;
    }

    [[noreturn]] void park() override {
        dispatch_main();
        std::abort();  // dispatch_main never returns
    }

private:
    // Every connection is accepted; admission is the signing requirement.
    static void accept(const std::shared_ptr<ListenerDelegate>& delegate, const Logger& log, xpc_connection_t peer) {
        const bool restricted =
            xpc_connection_set_peer_code_signing_requirement(peer, delegate->clientRequirement().c_str()) == 0;
        if (!restricted) log.error("Cannot set the client requirement on a connection; ending it unserved");
        std::weak_ptr<ListenerDelegate> weak = delegate;
        xpc_connection_set_event_handler(peer, ^(xpc_object_t event) {
          if (event == XPC_ERROR_CONNECTION_INVALID) {
              // The connection-ended rule, once per connection.
              if (auto strong = weak.lock()) strong->connectionEnded();
              return;
          }
          if (!restricted || xpc_get_type(event) != XPC_TYPE_DICTIONARY) return;
          auto strong = weak.lock();
          if (strong) handle(*strong, log, peer, event);
        });
        delegate->connectionAccepted();
        xpc_connection_resume(peer);
        // Counted open, then ended, like a peer the requirement refuses.
        if (!restricted) xpc_connection_cancel(peer);
    }

    static void handle(ListenerDelegate& delegate, const Logger& log, xpc_connection_t peer, xpc_object_t request) {
        const char* selector = xpc_dictionary_get_string(request, "method");
        auto method = selector ? HelperProtocol::method(selector) : std::nullopt;
        // Network bytes (the application reads them itself here) and
        // listening ports are the Linux helper's alone.
        if (method == HelperProtocol::Method::networkBytes || method == HelperProtocol::Method::listeningPorts) {
            method.reset();
        }
        if (!method) {
            log.error(fmt::format("Closing connection from pid {}: unknown method", xpc_connection_get_pid(peer)));
            xpc_connection_cancel(peer);
            return;
        }
        xpc_object_t reply = xpc_dictionary_create_reply(request);
        if (!reply) return;  // the client expects no reply
        if (*method == HelperProtocol::Method::version) {
            delegate.service()->versionWithReply([&](std::string version) {
                xpc_dictionary_set_string(reply, "version", version.c_str());
                xpc_connection_send_message(peer, reply);
            });
            xpc_release(reply);
            return;
        }
        // The reply is sent later, from the sampling thread: keep the peer
        // and the reply until then.
        xpc_retain(peer);
        delegate.service()->sampleWithReply([peer, reply](std::optional<std::string> data) {
            if (data) xpc_dictionary_set_data(reply, "data", data->data(), data->size());
            xpc_connection_send_message(peer, reply);
            xpc_release(reply);
            xpc_release(peer);
        });
    }

    std::shared_ptr<ListenerDelegate> delegate_;
    xpc_connection_t listener_ = nullptr;
    Logger log_{"app.orvantine.helper", "helper"};
};

}  // namespace

std::unique_ptr<HelperListener> makeHelperListener(std::shared_ptr<ListenerDelegate> delegate, const HelperOptions&) {
    return std::make_unique<XpcListener>(std::move(delegate));
}

}  // namespace orv
