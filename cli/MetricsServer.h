#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace orv::cli {

// The HTTP side of `orvantine serve`: GET (or HEAD) /metrics answers with
// what `scrape` writes; anything else gets its HTTP error. It runs on one
// thread, the io_context's. No client can hold it: live connections are
// capped (one past the cap is closed at once), a request must arrive
// within `requestTimeout` of the connection or of the last answer, and an
// answer must be taken within `writeTimeout`. When descriptors run out,
// accepting pauses briefly instead of spinning.
class MetricsServer {
public:
    struct Options {
        std::string address = "127.0.0.1";
        uint16_t port = 9849;  // 0: any free port (tests)
        size_t maxConnections = 32;
        std::chrono::milliseconds requestTimeout{10'000};
        std::chrono::milliseconds writeTimeout{10'000};
    };
    // The body for one scrape; `openMetrics` when the scraper asked for it.
    using Scrape = std::function<std::string(bool openMetrics)>;

    // Listens at once; throws boost::system::system_error when the address
    // cannot be bound.
    MetricsServer(boost::asio::io_context& io, Options options, Scrape scrape);
    ~MetricsServer();
    MetricsServer(const MetricsServer&) = delete;
    MetricsServer& operator=(const MetricsServer&) = delete;

    uint16_t port() const;
    size_t liveConnections() const;
    // Connections closed because the cap was reached.
    uint64_t refusedConnections() const;

    // The listener and its sessions' shared count, kept alive by whichever
    // outlives the other.
    struct State;

private:
    std::shared_ptr<State> state_;
};

}  // namespace orv::cli
