#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "HelperProtocol/Methods.h"

namespace orv {

// The application's end of one connection to the helper: XPC on macOS, the
// helper's Unix socket on Linux. Handlers run on the transport's threads.
class HelperConnection {
public:
    // The reply's data; nothing when the helper sent none.
    using Reply = std::function<void(std::optional<std::string>)>;
    // Why the request failed (unreachable, refused, broken reply).
    using ErrorHandler = std::function<void(const std::string& description)>;

    virtual ~HelperConnection() = default;

    // Called once, when the connection is invalidated by either side; it is
    // then not usable again.
    virtual void setInvalidationHandler(std::function<void()> handler) = 0;
    virtual void resume() = 0;
    // Sends one request. Later, exactly one of `reply` and `onError` runs.
    virtual void send(HelperProtocol::Method method, Reply reply, ErrorHandler onError) = 0;
    virtual void invalidate() = 0;
};

// Makes connections to the helper.
class HelperTransport {
public:
    virtual ~HelperTransport() = default;
    // A new, not yet resumed connection whose peer must satisfy `requirement`
    // (macOS: the code-signing requirement; Linux: the helper's socket is
    // root's, so its file mode stands for the signature).
    virtual std::shared_ptr<HelperConnection> connect(const std::string& requirement) = 0;
};

struct HelperTransportOptions {
    // Linux: the helper's socket; empty means the built-in path.
    std::string socketPath;
    // Linux: the user the process on the socket's other end must run as
    // (the kernel's record of the peer, not the file's owner), so that a
    // socket put in the helper's place cannot feed invented readings.
    // Root, except in tests.
    uint32_t requiredPeerUser = 0;
};

// The platform's transport.
std::shared_ptr<HelperTransport> makeHelperTransport(const HelperTransportOptions& options = {});

}  // namespace orv
