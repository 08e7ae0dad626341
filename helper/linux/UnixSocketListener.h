#pragma once

#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <memory>
#include <optional>

#include "core/Logger.h"
#include "helper/HelperListener.h"

namespace orv {

// The helper's Unix socket, served with Boost.Asio on one thread. Under
// systemd socket activation it takes the listening socket it is given;
// otherwise it binds its path with the configured mode, owned by the
// admitted group. Peers are admitted by their kernel credentials.
class UnixSocketListener : public HelperListener {
public:
    UnixSocketListener(std::shared_ptr<ListenerDelegate> delegate, HelperOptions options);
    ~UnixSocketListener() override;

    bool resume() override;
    [[noreturn]] void park() override;

    // For tests that run the listener inside their own process: serve
    // until `stop`, from any thread.
    void run();
    void stop();

    class Session;

private:
    bool bindPath();
    void accept();

    std::shared_ptr<ListenerDelegate> delegate_;
    HelperOptions options_;
    std::optional<gid_t> admittedGroup_;
    boost::asio::io_context io_;
    boost::asio::local::stream_protocol::acceptor acceptor_;
    Logger log_{"app.orvantine.helper", "helper"};
};

}  // namespace orv
