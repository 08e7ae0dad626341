// The application's end of the helper's Mach service, over the XPC C API.
// A request is a dictionary naming its method by selector under "method";
// the sample reply carries the JSON under "data" (absent: no data), the
// version reply a string under "version".
#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <mutex>

#include "Sampling/HelperIdentity.h"
#include "Sampling/HelperTransport.h"

namespace orv {

namespace {

std::string errorDescription(xpc_object_t error) {
    const char* text = xpc_dictionary_get_string(error, XPC_ERROR_KEY_DESCRIPTION);
    return text ? text : "Connection invalid";
}

// What the event handler's block shares with the connection object, which
// may be gone by the time the system reports the invalidation.
struct ConnectionState {
    std::mutex mutex;
    std::function<void()> onInvalidated;
    bool ended = false;

    void invalidated() {
        std::function<void()> handler;
        {
            std::lock_guard lock(mutex);
            if (ended) return;
            ended = true;
            handler = std::move(onInvalidated);
        }
        if (handler) handler();
    }
};

class XpcHelperConnection : public HelperConnection {
public:
    explicit XpcHelperConnection(const std::string& requirement) : state_(std::make_shared<ConnectionState>()) {
        queue_ = dispatch_queue_create("app.orvantine.sampling.helper", DISPATCH_QUEUE_SERIAL);
        // A launchd daemon lives in the system domain: the privileged flag.
        connection_ = xpc_connection_create_mach_service(std::string(HelperIdentity::machServiceName).c_str(), queue_,
                                                         XPC_CONNECTION_MACH_SERVICE_PRIVILEGED);
        // Without the requirement any process could pose as the helper: such
        // a connection is never resumed, and fails every request at once.
        restricted_ = xpc_connection_set_peer_code_signing_requirement(connection_, requirement.c_str()) == 0;
        std::shared_ptr<ConnectionState> state = state_;
        xpc_connection_set_event_handler(connection_, ^(xpc_object_t event) {
          // Only errors arrive here (the helper sends nothing unasked);
          // interruption is followed by invalidation when the helper is gone.
          if (event == XPC_ERROR_CONNECTION_INVALID) state->invalidated();
        });
    }

    ~XpcHelperConnection() override {
        // A connection never resumed must be resumed before it may be released.
        if (!restricted_) xpc_connection_resume(connection_);
        xpc_connection_cancel(connection_);
        xpc_release(connection_);
        dispatch_release(queue_);
    }

    void setInvalidationHandler(std::function<void()> handler) override {
        std::lock_guard lock(state_->mutex);
        state_->onInvalidated = std::move(handler);
    }

    void resume() override {
        if (restricted_) xpc_connection_resume(connection_);
    }

    void send(HelperProtocol::Method method, Reply reply, ErrorHandler onError) override {
        if (!restricted_) {
            onError("Cannot require the helper's code signature");
            return;
        }
        xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
        xpc_dictionary_set_string(message, "method", std::string(HelperProtocol::selector(method)).c_str());
        xpc_connection_send_message_with_reply(connection_, message, queue_, ^(xpc_object_t answer) {
          if (xpc_get_type(answer) == XPC_TYPE_ERROR) {
              onError(errorDescription(answer));
              return;
          }
          if (xpc_get_type(answer) != XPC_TYPE_DICTIONARY) {
              onError("The helper sent a malformed reply");
              return;
          }
          if (method == HelperProtocol::Method::version) {
              const char* version = xpc_dictionary_get_string(answer, "version");
              reply(version ? std::optional<std::string>(version) : std::nullopt);
              return;
          }
          size_t length = 0;
          const void* bytes = xpc_dictionary_get_data(answer, "data", &length);
          reply(bytes ? std::optional<std::string>(std::string(static_cast<const char*>(bytes), length))
                      : std::nullopt);
        });
        xpc_release(message);
    }

    void invalidate() override {
        if (restricted_) xpc_connection_cancel(connection_);
        else state_->invalidated();
    }

private:
    std::shared_ptr<ConnectionState> state_;
    dispatch_queue_t queue_;
    xpc_connection_t connection_;
    bool restricted_ = false;
};

class XpcHelperTransport : public HelperTransport {
public:
    std::shared_ptr<HelperConnection> connect(const std::string& requirement) override {
        return std::make_shared<XpcHelperConnection>(requirement);
    }
};

}  // namespace

std::shared_ptr<HelperTransport> makeHelperTransport(const HelperTransportOptions&) {
    return std::make_shared<XpcHelperTransport>();
}

}  // namespace orv
