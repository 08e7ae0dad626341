#pragma once

#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>

#include "core/Logger.h"
#include "helper/HelperListener.h"

namespace orv {

// The helper's Unix socket, served with Boost.Asio on one thread. Under
// systemd socket activation it takes the listening socket it is given;
// otherwise it binds its path with the configured mode, owned by the
// admitted group. Peers are admitted by their kernel credentials.
//
// An admitted client is still not trusted with the helper's resources: one
// process holds at most `maxSessionsPerClient` live sessions and all hold at
// most `maxSessions` (beyond, a new connection is closed at once, counted,
// and logged once per episode); a reply the client does not drain and a
// frame it does not finish end its session; and when descriptors run out,
// accepting pauses briefly instead of failing in a loop.
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

    // Connections closed at once because a cap was reached, since start.
    uint64_t closedOverCap() const { return closedOverCap_; }

private:
    bool bindPath();
    void accept();
    void acceptLater();
    // Whether a peer may open one more session; logs the start of an episode.
    bool admitsAnotherSession(pid_t pid);
    void sessionEnded(pid_t pid);
    std::shared_ptr<Session> makeSession(boost::asio::local::stream_protocol::socket socket, pid_t pid, bool counted);

    std::shared_ptr<ListenerDelegate> delegate_;
    HelperOptions options_;
    std::optional<gid_t> admittedGroup_;
    boost::asio::io_context io_;
    boost::asio::local::stream_protocol::acceptor acceptor_;
    boost::asio::steady_timer acceptRetry_;
    // Listener thread only.
    std::unordered_map<pid_t, size_t> sessionsByPeer_;
    size_t sessions_ = 0;
    bool overCapEpisode_ = false;
    bool outOfDescriptorsEpisode_ = false;
    std::atomic<uint64_t> closedOverCap_{0};
    Logger log_{"app.orvantine.helper", "helper"};
};

}  // namespace orv
