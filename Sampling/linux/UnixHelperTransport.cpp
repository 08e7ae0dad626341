// The application's end of the helper's Unix socket. Each connection has
// one worker thread that sends its requests one after another and reads
// each reply before the next request goes out, so replies never cross.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>

#include "HelperProtocol/HelperBuildConfig.h"
#include "HelperProtocol/HelperFrame.h"
#include "Sampling/HelperTransport.h"
#include "core/FileDescriptor.h"
#include "core/JsonCoding.h"
#include "core/Result.h"

namespace orv {

namespace {

// A reply that takes this long means the helper is stuck; the connection
// is then given up (the caller stopped waiting long before).
constexpr int receiveTimeoutSeconds = 30;

std::string errnoText(int error) { return std::strerror(error); }

class UnixHelperConnection : public HelperConnection {
public:
    UnixHelperConnection(std::string path, uid_t requiredPeer) : state_(std::make_shared<State>()) {
        state_->path = std::move(path);
        state_->requiredPeer = requiredPeer;
    }
    ~UnixHelperConnection() override { invalidate(); }

    void setInvalidationHandler(std::function<void()> handler) override {
        std::lock_guard lock(state_->mutex);
        state_->onInvalidated = std::move(handler);
    }

    void resume() override {
        std::lock_guard lock(state_->mutex);
        if (state_->resumed || state_->invalidated) return;
        state_->resumed = true;
        std::thread([state = state_] { state->run(); }).detach();
    }

    void send(HelperProtocol::Method method, Reply reply, ErrorHandler onError) override {
        {
            std::lock_guard lock(state_->mutex);
            if (!state_->invalidated) {
                state_->requests.push_back(Request{method, std::move(reply), std::move(onError)});
                state_->condition.notify_all();
                return;
            }
        }
        onError("Connection invalid");
    }

    void invalidate() override {
        std::function<void()> handler;
        {
            std::lock_guard lock(state_->mutex);
            if (state_->invalidated) return;
            state_->invalidated = true;
            // Wakes a worker blocked in connect, send or recv.
            if (state_->fd) ::shutdown(state_->fd.get(), SHUT_RDWR);
            state_->condition.notify_all();
            // Without a worker nobody else will say so.
            if (!state_->resumed) handler = std::move(state_->onInvalidated);
        }
        if (handler) handler();
    }

private:
    struct Request {
        HelperProtocol::Method method;
        Reply reply;
        ErrorHandler onError;
    };

    struct State {
        std::string path;
        uid_t requiredPeer = 0;
        std::mutex mutex;
        std::condition_variable condition;
        std::deque<Request> requests;
        std::function<void()> onInvalidated;
        bool resumed = false;
        bool invalidated = false;
        FileDescriptor fd;  // set and reset by the worker, under the mutex

        void run() {
            for (;;) {
                Request request;
                {
                    std::unique_lock lock(mutex);
                    condition.wait(lock, [&] { return invalidated || !requests.empty(); });
                    if (invalidated) break;
                    request = std::move(requests.front());
                    requests.pop_front();
                }
                auto data = exchange(request.method);
                if (data) {
                    request.reply(std::move(*data));
                } else {
                    request.onError(data.error().description);
                    markInvalid();
                }
            }
            finish();
        }

        void markInvalid() {
            std::lock_guard lock(mutex);
            invalidated = true;
        }

        // Every request still queued fails, the socket closes, and the
        // invalidation handler runs once, on this thread.
        void finish() {
            std::deque<Request> left;
            std::function<void()> handler;
            {
                std::lock_guard lock(mutex);
                left.swap(requests);
                handler = std::move(onInvalidated);
                fd.reset();
            }
            for (auto& request : left) request.onError("Connection invalid");
            if (handler) handler();
        }

        // Why the connection can no longer be used, as the client reports it.
        struct Failure {
            std::string description;
        };
        template <class T = void>
        using Step = Result<T, Failure>;

        Step<> connectSocket() {
            FileDescriptor opened(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
            if (!opened) return Failure{"Cannot create a socket: " + errnoText(errno)};
            timeval timeout{receiveTimeoutSeconds, 0};
            ::setsockopt(opened.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
            const int s = opened.get();
            {
                std::lock_guard lock(mutex);
                if (invalidated) return Failure{"Connection invalid"};
                fd = std::move(opened);
            }
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            if (path.size() >= sizeof address.sun_path) return Failure{"Socket path too long: " + path};
            std::memcpy(address.sun_path, path.data(), path.size());
            if (::connect(s, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
                return Failure{"Cannot connect to " + path + ": " + errnoText(errno)};
            }
            // Whoever listens there must be the helper's user, whatever the
            // path's directory lets others put in its place.
            ucred peer{};
            socklen_t size = sizeof peer;
            if (::getsockopt(s, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
                return Failure{"Cannot read who listens on " + path + ": " + errnoText(errno)};
            }
            if (peer.uid != requiredPeer) {
                return Failure{"The process listening on " + path + " runs as uid " + std::to_string(peer.uid) +
                               ", not uid " + std::to_string(requiredPeer) + "; not trusting it"};
            }
            return {};
        }

        Step<> writeAll(std::string_view bytes) {
            while (!bytes.empty()) {
                ssize_t n = ::send(fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
                if (n < 0 && errno == EINTR) continue;
                if (n <= 0) return Failure{"Cannot send to the helper: " + errnoText(errno)};
                bytes.remove_prefix(size_t(n));
            }
            return {};
        }

        Step<> readExactly(char* into, size_t count) {
            while (count > 0) {
                ssize_t n = ::recv(fd.get(), into, count, 0);
                if (n < 0 && errno == EINTR) continue;
                if (n == 0) return Failure{"The helper closed the connection"};
                if (n < 0) {
                    return Failure{errno == EAGAIN || errno == EWOULDBLOCK
                                       ? std::string("The helper did not answer")
                                       : "Cannot read from the helper: " + errnoText(errno)};
                }
                into += n;
                count -= size_t(n);
            }
            return {};
        }

        // One request and its reply (absent when the helper answered with
        // nothing), or why the connection is no longer usable.
        Step<std::optional<std::string>> exchange(HelperProtocol::Method method) {
            if (!fd) {
                if (auto connected = connectSocket(); !connected) return connected.error();
            }
            if (auto sent = writeAll(HelperFrame::frame(HelperProtocol::selector(method))); !sent) return sent.error();
            char header[HelperFrame::headerSize];
            if (auto read = readExactly(header, sizeof header); !read) return read.error();
            const uint32_t length = HelperFrame::announcedLength({header, sizeof header});
            if (length > HelperFrame::maxReplyBytes) {
                return Failure{"The helper announced a reply of " + std::to_string(length) + " bytes, over the limit"};
            }
            std::string payload(length, '\0');
            if (auto read = readExactly(payload.data(), payload.size()); !read) return read.error();
            auto reply = HelperFrame::readReply(payload);
            if (!reply) return Failure{"The helper sent a malformed reply"};
            if (!*reply) return std::optional<std::string>{};
            // The data is the body less its presence byte: moved down in
            // place rather than copied out of a reply that can be megabytes.
            payload.erase(0, payload.size() - (*reply)->size());
            return std::optional<std::string>{std::move(payload)};
        }
    };

    std::shared_ptr<State> state_;
};

class UnixHelperTransport : public HelperTransport {
public:
    UnixHelperTransport(std::string path, uid_t requiredPeer) : path_(std::move(path)), requiredPeer_(requiredPeer) {}
    std::shared_ptr<HelperConnection> connect(const std::string&) override {
        return std::make_shared<UnixHelperConnection>(path_, requiredPeer_);
    }

private:
    std::string path_;
    uid_t requiredPeer_;
};

}  // namespace

std::shared_ptr<HelperTransport> makeHelperTransport(const HelperTransportOptions& options) {
    return std::make_shared<UnixHelperTransport>(
        options.socketPath.empty() ? std::string(HelperBuildConfig::socketPath) : options.socketPath,
        uid_t(options.requiredPeerUser));
}

}  // namespace orv
