#include "cli/MetricsServer.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <fmt/format.h>

#include "cli/MetricsExposition.h"
#include "core/Logger.h"

namespace orv::cli {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = asio::ip::tcp;

namespace {
const Logger& serveLog() {
    static const Logger log("app.orvantine.cli", "serve");
    return log;
}
}  // namespace

struct MetricsServer::State : std::enable_shared_from_this<MetricsServer::State> {
    State(asio::io_context& io, Options o, Scrape s)
        : io(io), options(std::move(o)), scrape(std::move(s)), acceptor(io), retry(io) {}

    asio::io_context& io;
    Options options;
    Scrape scrape;
    tcp::acceptor acceptor;
    asio::steady_timer retry;
    size_t live = 0;
    uint64_t refused = 0;
    bool refusing = false;  // the cap is reached: logged once per episode
    bool stopped = false;

    void accept() {
        if (stopped) return;
        acceptor.async_accept([self = shared_from_this()](beast::error_code error, tcp::socket socket) {
            self->accepted(error, std::move(socket));
        });
    }

    void accepted(beast::error_code error, tcp::socket socket);
};

namespace {

// One connection: requests read and answered in turn (keep-alive), each
// step under its timeout.
class Session : public std::enable_shared_from_this<Session> {
public:
    Session(tcp::socket socket, std::shared_ptr<MetricsServer::State> server)
        : stream_(std::move(socket)), server_(std::move(server)) {
        ++server_->live;
    }
    ~Session() {
        if (--server_->live < server_->options.maxConnections) server_->refusing = false;
    }

    void read() {
        request_ = {};
        parser_.emplace();
        parser_->body_limit(64 * 1024);
        parser_->header_limit(16 * 1024);
        stream_.expires_after(server_->options.requestTimeout);
        http::async_read(stream_, buffer_, *parser_, [self = shared_from_this()](beast::error_code error, size_t) {
            self->onRead(error);
        });
    }

private:
    void onRead(beast::error_code error) {
        if (error == http::error::end_of_stream || error == beast::error::timeout || error == asio::error::eof ||
            error == asio::error::connection_reset) {
            return close();
        }
        if (error) {
            // Not HTTP, or beyond the limits: say so and end the connection.
            return answer(http::status::bad_request, "text/plain; charset=utf-8",
                          fmt::format("Bad request: {}\n", error.message()), false);
        }
        request_ = parser_->release();
        const bool keepAlive = request_.keep_alive();
        if (request_.method() != http::verb::get && request_.method() != http::verb::head) {
            return answer(http::status::method_not_allowed, "text/plain; charset=utf-8", "Only GET and HEAD are served\n",
                          keepAlive);
        }
        const std::string_view target(request_.target().data(), request_.target().size());
        const std::string_view path = target.substr(0, target.find('?'));
        if (path == "/") {
            return answer(http::status::ok, "text/html; charset=utf-8",
                          "<html><head><title>orvantine</title></head><body><a href=\"/metrics\">Metrics</a></body></html>\n",
                          keepAlive);
        }
        if (path != "/metrics") return answer(http::status::not_found, "text/plain; charset=utf-8", "Not found\n", keepAlive);
        const auto accept = request_[http::field::accept];
        const bool openMetrics = accept.find("application/openmetrics-text") != beast::string_view::npos;
        std::string body;
        try {
            body = server_->scrape(openMetrics);
        } catch (const std::exception& e) {
            serveLog().error(fmt::format("A scrape failed: {}", e.what()));
            return answer(http::status::internal_server_error, "text/plain; charset=utf-8",
                          fmt::format("The figures could not be read: {}\n", e.what()), false);
        }
        answer(http::status::ok,
               openMetrics ? MetricsExposition::openMetricsContentType : MetricsExposition::textContentType,
               std::move(body), keepAlive);
    }

    void answer(http::status status, const char* type, std::string body, bool keepAlive) {
        auto response = std::make_shared<http::response<http::string_body>>(status, 11);
        response->set(http::field::server, "orvantine");
        response->set(http::field::content_type, type);
        response->keep_alive(keepAlive);
        const bool head = request_.method() == http::verb::head;
        response->body() = std::move(body);
        response->prepare_payload();
        if (head) response->body().clear();
        stream_.expires_after(server_->options.writeTimeout);
        http::async_write(stream_, *response,
                          [self = shared_from_this(), response, keepAlive](beast::error_code error, size_t) {
                              if (error || !keepAlive) return self->close();
                              self->read();
                          });
    }

    void close() {
        beast::error_code ignored;
        stream_.socket().shutdown(tcp::socket::shutdown_both, ignored);
        stream_.close();
    }

    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
    std::optional<http::request_parser<http::string_body>> parser_;
    http::request<http::string_body> request_;
    std::shared_ptr<MetricsServer::State> server_;
};

}  // namespace

void MetricsServer::State::accepted(beast::error_code error, tcp::socket socket) {
    if (stopped) return;
    if (error == asio::error::no_descriptors || error.value() == ENFILE) {
        // Out of descriptors: accepting again at once would fail again at
        // once; wait for connections to end.
        retry.expires_after(std::chrono::milliseconds(100));
        retry.async_wait([self = shared_from_this()](beast::error_code) { self->accept(); });
        return;
    }
    if (!error) {
        if (live >= options.maxConnections) {
            ++refused;
            if (!refusing) {
                refusing = true;
                serveLog().error(fmt::format("{} connections are open; closing new ones until some end",
                                             options.maxConnections));
            }
            beast::error_code ignored;
            socket.close(ignored);
        } else {
            std::make_shared<Session>(std::move(socket), shared_from_this())->read();
        }
    }
    accept();
}

MetricsServer::MetricsServer(asio::io_context& io, Options options, Scrape scrape)
    : state_(std::make_shared<State>(io, std::move(options), std::move(scrape))) {
    const tcp::endpoint endpoint(asio::ip::make_address(state_->options.address), state_->options.port);
    state_->acceptor.open(endpoint.protocol());
    state_->acceptor.set_option(asio::socket_base::reuse_address(true));
    state_->acceptor.bind(endpoint);
    state_->acceptor.listen(asio::socket_base::max_listen_connections);
    state_->accept();
}

MetricsServer::~MetricsServer() {
    state_->stopped = true;
    beast::error_code ignored;
    state_->acceptor.close(ignored);
    state_->retry.cancel();
}

uint16_t MetricsServer::port() const { return state_->acceptor.local_endpoint().port(); }
size_t MetricsServer::liveConnections() const { return state_->live; }
uint64_t MetricsServer::refusedConnections() const { return state_->refused; }

}  // namespace orv::cli
