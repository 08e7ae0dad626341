#pragma once

#include <grp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "HelperProtocol/HelperFrame.h"

namespace orv::test {

// The group a helper started by a test admits: the test's own primary
// group, so that it serves the test's clients when the tests do not run
// as root.
inline std::string ownGroup() {
    group* g = ::getgrgid(::getegid());
    return g ? g->gr_name : "root";
}

// A blocking client that speaks the helper's framing by hand, so that tests
// can also send what no real client would. It makes no threads, so a forked
// child may use it.
class RawHelperClient {
public:
    explicit RawHelperClient(const std::string& path) {
        fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.data(), std::min(path.size(), sizeof address.sun_path - 1));
        if (::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) close();
    }
    ~RawHelperClient() { close(); }
    RawHelperClient(const RawHelperClient&) = delete;
    RawHelperClient& operator=(const RawHelperClient&) = delete;

    bool connected() const { return fd_ >= 0; }
    int fd() const { return fd_; }

    bool sendBytes(std::string_view bytes) {
        while (!bytes.empty()) {
            ssize_t n = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (n <= 0) return false;
            bytes.remove_prefix(size_t(n));
        }
        return true;
    }

    bool request(std::string_view selector) { return sendBytes(HelperFrame::frame(selector)); }

    // One reply frame's data (outer nothing: closed, timed out or malformed;
    // inner nothing: the helper sent no data).
    std::optional<std::optional<std::string>> readReply(std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        char header[HelperFrame::headerSize];
        if (!readExactly(header, sizeof header, limit)) return std::nullopt;
        uint32_t length = HelperFrame::announcedLength({header, sizeof header});
        if (length > HelperFrame::maxReplyBytes) return std::nullopt;
        std::string payload(length, '\0');
        if (!readExactly(payload.data(), payload.size(), limit)) return std::nullopt;
        auto reply = HelperFrame::readReply(payload);
        if (!reply) return std::nullopt;
        if (!*reply) return std::optional<std::string>{};
        return std::optional<std::string>{std::string(**reply)};
    }

    // True when the helper closes the connection within `limit`.
    bool closedByPeer(std::chrono::milliseconds limit = std::chrono::seconds(5)) {
        char c;
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, int(limit.count())) <= 0) return false;
        ssize_t n = ::recv(fd_, &c, 1, 0);
        return n == 0 || (n < 0 && errno == ECONNRESET);
    }

    void close() {
        if (fd_ >= 0) ::close(fd_);
        fd_ = -1;
    }

private:
    bool readExactly(char* into, size_t count, std::chrono::milliseconds limit) {
        while (count > 0) {
            pollfd p{fd_, POLLIN, 0};
            if (::poll(&p, 1, int(limit.count())) <= 0) return false;
            ssize_t n = ::recv(fd_, into, count, 0);
            if (n <= 0) return false;
            into += n;
            count -= size_t(n);
        }
        return true;
    }

    int fd_ = -1;
};

}  // namespace orv::test
