// `orvantine serve`: this machine's figures for Prometheus, over HTTP.
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <chrono>
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <string>

#include "cli/CommandLogSink.h"
#include "cli/CommandRegistry.h"
#include "cli/MetricsExposition.h"
#include "cli/MetricsServer.h"
#include "cli/SamplingSession.h"

namespace orv::cli {

namespace {

struct ServeOptions {
    std::string listen = "127.0.0.1:9849";
    double minIntervalSeconds = 1;
    bool helper = false;
    bool processes = false;
};

// "127.0.0.1:9849", "[::1]:9849": the address and the port.
std::pair<std::string, uint16_t> splitListen(const std::string& text) {
    const auto colon = text.rfind(':');
    if (colon == std::string::npos || colon + 1 == text.size()) {
        throw CLI::ValidationError("--listen", "wants ADDRESS:PORT, such as 127.0.0.1:9849");
    }
    std::string address = text.substr(0, colon);
    if (address.size() >= 2 && address.front() == '[' && address.back() == ']') address = address.substr(1, address.size() - 2);
    int port = 0;
    try {
        size_t used = 0;
        port = std::stoi(text.substr(colon + 1), &used);
        if (used != text.size() - colon - 1) port = -1;
    } catch (const std::exception&) {
        port = -1;
    }
    if (port < 0 || port > 65535) throw CLI::ValidationError("--listen", "the port is not a number from 0 to 65535");
    return {address, uint16_t(port)};
}

void run(const ServeOptions& options) {
    CommandLogSink::Scope log;
    auto [address, port] = splitListen(options.listen);
    SamplingSession session({.helper = options.helper, .quietHelper = true});
    auto builder = session.snapshotBuilder();
    MetricsExposition exposition({.processes = options.processes});
    // The baseline the first scrape's rates are measured from.
    builder->build();
    auto lastBuild = std::chrono::steady_clock::now();
    const auto minInterval = std::chrono::duration<double>(options.minIntervalSeconds);
    bool built = false;

    boost::asio::io_context io(1);
    MetricsServer::Options serverOptions;
    serverOptions.address = address;
    serverOptions.port = port;
    // A burst of scrapes costs one pass: a new snapshot only once the last
    // is at least the minimum interval old.
    MetricsServer server(io, serverOptions, [&](bool openMetrics) {
        const auto now = std::chrono::steady_clock::now();
        if (!built || now - lastBuild >= minInterval) {
            exposition.add(builder->build());
            lastBuild = now;
            built = true;
        }
        return exposition.text(openMetrics);
    });
    boost::asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&](const boost::system::error_code&, int) { io.stop(); });
    std::fprintf(stderr, "orvantine: serving metrics at http://%s:%u/metrics\n",
                 address.find(':') == std::string::npos ? address.c_str() : ("[" + address + "]").c_str(),
                 unsigned(server.port()));
    io.run();
    session.finish();
}

CommandRegistration registration(43, [](CLI::App& app) {
    auto options = std::make_shared<ServeOptions>();
    auto* command = app.add_subcommand(
        "serve", "Metrics for Prometheus over HTTP (/metrics): system figures and apps, sampled on each scrape");
    command->add_option("--listen", options->listen,
                        "ADDRESS:PORT to listen on; an address other than loopback lets other machines scrape")
        ->default_val("127.0.0.1:9849");
    command->add_option("--min-interval", options->minIntervalSeconds,
                        "Seconds a snapshot serves scrapes before a new one is taken")
        ->default_val(1.0)
        ->check(secondsBetween(0.1, 3600.0));
    command->add_flag("--helper", options->helper, "Read every user's processes through the privileged helper");
    command->add_flag("--processes", options->processes,
                      "Also a series per process (pid and name labels); many processes make many series, "
                      "which Prometheus stores one by one");
    command->callback([options] { run(*options); });
});

}  // namespace

}  // namespace orv::cli
