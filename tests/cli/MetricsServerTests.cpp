// The metrics endpoint over real sockets on the loopback: answers, errors
// for what is not a scrape, and no client able to hold it.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cli/MetricsServer.h"

namespace orv::cli {
namespace {

class MetricsServerTest : public ::testing::Test {
protected:
    void start(MetricsServer::Options options = {}) {
        options.port = 0;
        server_ = std::make_unique<MetricsServer>(io_, options, [this](bool openMetrics) {
            ++scrapes_;
            return std::string(openMetrics ? "om 1\n# EOF\n" : "m 1\n");
        });
        thread_ = std::thread([this] { io_.run(); });
    }
    void TearDown() override {
        io_.stop();
        if (thread_.joinable()) thread_.join();
    }

    int connect() const {
        int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(server_->port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        timeval timeout{5, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        return fd;
    }

    // Sends `request` and reads until the server closes (or 5 s pass).
    std::string exchange(const std::string& request) const {
        int fd = connect();
        EXPECT_EQ(::send(fd, request.data(), request.size(), MSG_NOSIGNAL), ssize_t(request.size()));
        std::string reply;
        char buffer[4096];
        ssize_t n;
        while ((n = ::recv(fd, buffer, sizeof buffer, 0)) > 0) reply.append(buffer, size_t(n));
        ::close(fd);
        return reply;
    }

    boost::asio::io_context io_;
    std::unique_ptr<MetricsServer> server_;
    std::thread thread_;
    std::atomic<int> scrapes_{0};
};

TEST_F(MetricsServerTest, ScrapeAnswersInTheAskedFormat) {
    start();
    auto text = exchange("GET /metrics HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(text.rfind("HTTP/1.1 200 OK\r\n", 0), 0u) << text;
    EXPECT_NE(text.find("Content-Type: text/plain; version=0.0.4"), std::string::npos);
    EXPECT_TRUE(text.ends_with("\r\n\r\nm 1\n"));
    auto open = exchange("GET /metrics HTTP/1.1\r\nHost: x\r\nAccept: application/openmetrics-text;version=1.0.0\r\n"
                         "Connection: close\r\n\r\n");
    EXPECT_NE(open.find("Content-Type: application/openmetrics-text; version=1.0.0"), std::string::npos);
    EXPECT_TRUE(open.ends_with("# EOF\n"));
}

TEST_F(MetricsServerTest, KeepAliveServesSeveralScrapesOnOneConnection) {
    start();
    auto text = exchange("GET /metrics HTTP/1.1\r\nHost: x\r\n\r\nGET /metrics HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    size_t answers = 0;
    for (size_t at = 0; (at = text.find("HTTP/1.1 200 OK", at)) != std::string::npos; ++at) ++answers;
    EXPECT_EQ(answers, 2u);
    EXPECT_EQ(scrapes_, 2);
}

TEST_F(MetricsServerTest, WhatIsNotAScrapeGetsItsHttpError) {
    start();
    EXPECT_EQ(exchange("GET /nope HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n").rfind("HTTP/1.1 404", 0), 0u);
    EXPECT_EQ(exchange("POST /metrics HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\nConnection: close\r\n\r\n").rfind("HTTP/1.1 405", 0), 0u);
    EXPECT_EQ(exchange("this is not http\r\n\r\n").rfind("HTTP/1.1 400", 0), 0u);
    std::string huge = "GET /metrics HTTP/1.1\r\nHost: x\r\nX-Big: " + std::string(100'000, 'a') + "\r\n\r\n";
    EXPECT_EQ(exchange(huge).rfind("HTTP/1.1 400", 0), 0u);
    EXPECT_EQ(scrapes_, 0);
    // And it still serves.
    EXPECT_EQ(exchange("GET /metrics HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n").rfind("HTTP/1.1 200", 0), 0u);
}

TEST_F(MetricsServerTest, ConnectionsPastTheCapAreClosedAndTheOthersServed) {
    MetricsServer::Options options;
    options.maxConnections = 4;
    start(options);
    std::vector<int> held;
    for (int i = 0; i < 4; ++i) held.push_back(connect());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    int extra = connect();
    char byte;
    EXPECT_EQ(::recv(extra, &byte, 1, 0), 0);  // closed at once
    ::close(extra);
    EXPECT_GE(server_->refusedConnections(), 1u);
    for (int fd : held) ::close(fd);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(exchange("GET /metrics HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n").rfind("HTTP/1.1 200", 0), 0u);
}

TEST_F(MetricsServerTest, AClientThatSendsNothingIsDroppedAfterTheRequestTimeout) {
    MetricsServer::Options options;
    options.requestTimeout = std::chrono::milliseconds(300);
    start(options);
    int fd = connect();
    const auto started = std::chrono::steady_clock::now();
    char byte;
    EXPECT_LE(::recv(fd, &byte, 1, 0), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3));
    ::close(fd);
}

}  // namespace
}  // namespace orv::cli
