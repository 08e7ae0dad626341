#include "helper/linux/UnixSocketListener.h"

#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include "HelperProtocol/HelperFrame.h"
#include "HelperProtocol/Methods.h"
#include "helper/linux/PeerCredentials.h"

namespace orv {

namespace asio = boost::asio;
using Protocol = asio::local::stream_protocol;

// One client connection. It handles one request at a time: the next frame
// is read only after the previous reply is written, so replies keep the
// order of their requests. Everything runs on the listener's thread; a
// reply from the sampling thread is posted back to it.
class UnixSocketListener::Session : public std::enable_shared_from_this<Session> {
public:
    Session(Protocol::socket socket, std::shared_ptr<ListenerDelegate> delegate, pid_t pid, Logger log)
        : socket_(std::move(socket)), delegate_(std::move(delegate)), pid_(pid), log_(std::move(log)) {}

    void start() { processBuffer(); }

    // Ends the connection once; the delegate hears of it once.
    void close() {
        if (closed_) return;
        closed_ = true;
        boost::system::error_code ignored;
        socket_.close(ignored);
        delegate_->connectionEnded();
    }

private:
    void fail(const std::string& why) {
        log_.error(fmt::format("Closing connection from pid {}: {}", pid_, why));
        close();
    }

    void readMore() {
        if (closed_) return;
        auto self = shared_from_this();
        socket_.async_read_some(asio::buffer(chunk_), [self](boost::system::error_code ec, size_t n) {
            if (ec) {
                // The peer left (or broke off mid-frame); nothing to answer.
                if (!self->buffer_.empty() && ec == asio::error::eof) {
                    self->fail(fmt::format("truncated request ({} bytes)", self->buffer_.size()));
                } else {
                    self->close();
                }
                return;
            }
            self->buffer_.append(self->chunk_.data(), n);
            self->processBuffer();
        });
    }

    void processBuffer() {
        if (closed_) return;
        auto parsed = HelperFrame::parse(buffer_, HelperFrame::maxRequestBytes);
        switch (parsed.status) {
            case HelperFrame::Parsed::Status::incomplete:
                readMore();
                return;
            case HelperFrame::Parsed::Status::tooLarge:
                fail(fmt::format("request of {} bytes is over the {}-byte limit", parsed.announced,
                                 HelperFrame::maxRequestBytes));
                return;
            case HelperFrame::Parsed::Status::complete:
                break;
        }
        const auto method = HelperProtocol::method(parsed.payload);
        const size_t consumed = parsed.consumed;
        if (!method) {
            fail(fmt::format("unknown method of {} bytes", parsed.payload.size()));
            return;
        }
        buffer_.erase(0, consumed);
        if (*method == HelperProtocol::Method::version) {
            delegate_->service()->versionWithReply([this](std::string version) { reply(std::move(version)); });
            return;
        }
        auto self = shared_from_this();
        auto io = socket_.get_executor();
        auto answer = [self, io](std::optional<std::string> data) {
            asio::post(io, [self, data = std::move(data)]() mutable { self->reply(std::move(data)); });
        };
        if (*method == HelperProtocol::Method::networkBytes) delegate_->service()->networkBytesWithReply(answer);
        else if (*method == HelperProtocol::Method::listeningPorts) delegate_->service()->listeningPortsWithReply(answer);
        else delegate_->service()->sampleWithReply(answer);
    }

    void reply(std::optional<std::string> data) {
        if (closed_) return;
        const size_t size = 1 + (data ? data->size() : 0);
        if (size > HelperFrame::maxReplyBytes) {
            fail(fmt::format("reply of {} bytes is over the limit", size));
            return;
        }
        // Header and presence byte in one small buffer, the data written
        // from where it lies.
        header_ = HelperFrame::replyHeader(data ? std::optional<size_t>(data->size()) : std::nullopt);
        payload_ = data ? std::move(*data) : std::string();
        std::array<asio::const_buffer, 2> buffers{asio::buffer(header_), asio::buffer(payload_)};
        auto self = shared_from_this();
        asio::async_write(socket_, buffers, [self](boost::system::error_code ec, size_t) {
            if (ec) {
                self->close();
                return;
            }
            self->payload_.clear();
            self->payload_.shrink_to_fit();
            self->processBuffer();
        });
    }

    Protocol::socket socket_;
    std::shared_ptr<ListenerDelegate> delegate_;
    pid_t pid_;
    Logger log_;
    std::array<char, 4096> chunk_{};
    std::string buffer_;
    std::string header_;
    std::string payload_;
    bool closed_ = false;
};

UnixSocketListener::UnixSocketListener(std::shared_ptr<ListenerDelegate> delegate, HelperOptions options)
    : delegate_(std::move(delegate)), options_(std::move(options)), acceptor_(io_) {}

UnixSocketListener::~UnixSocketListener() { stop(); }

bool UnixSocketListener::resume() {
    admittedGroup_ = groupID(options_.admittedGroup);
    if (!admittedGroup_) {
        log_.notice(fmt::format("Group {} does not exist; only root is admitted", options_.admittedGroup));
    }
    const int given = sd_listen_fds(1);
    if (given > 0) {
        // systemd bound the socket with the unit's mode and group.
        boost::system::error_code ec;
        acceptor_.assign(Protocol(), SD_LISTEN_FDS_START, ec);
        if (ec) {
            log_.error(fmt::format("Cannot use the socket systemd passed: {}", ec.message()));
            return false;
        }
    } else if (!bindPath()) {
        return false;
    }
    accept();
    return true;
}

bool UnixSocketListener::bindPath() {
    const std::string& path = options_.socketPath;
    auto slash = path.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        // /run/orvantine does not survive a reboot; make it as systemd's
        // RuntimeDirectory would.
        ::mkdir(path.substr(0, slash).c_str(), 0755);
    }
    struct stat st{};
    if (::lstat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) ::unlink(path.c_str());  // left by a previous run

    boost::system::error_code ec;
    acceptor_.open(Protocol(), ec);
    if (!ec) acceptor_.bind(Protocol::endpoint(path), ec);
    if (ec) {
        log_.error(fmt::format("Cannot listen on {}: {}", path, ec.message()));
        return false;
    }
    // Mode and group first, then listen: no client can connect before the
    // file says who may.
    if (::chmod(path.c_str(), options_.socketMode) != 0) {
        log_.error(fmt::format("Cannot set the mode of {}: {}", path, std::strerror(errno)));
        return false;
    }
    if (admittedGroup_ && ::chown(path.c_str(), uid_t(-1), *admittedGroup_) != 0) {
        log_.notice(fmt::format("Cannot give {} to group {}: {}", path, options_.admittedGroup, std::strerror(errno)));
    }
    acceptor_.listen(asio::socket_base::max_listen_connections, ec);
    if (ec) {
        log_.error(fmt::format("Cannot listen on {}: {}", path, ec.message()));
        return false;
    }
    return true;
}

void UnixSocketListener::accept() {
    acceptor_.async_accept([this](boost::system::error_code ec, Protocol::socket socket) {
        if (ec == asio::error::operation_aborted) return;
        if (ec) {
            // Out of descriptors, most likely; the clients already connected
            // are served on, and the next accept may succeed.
            log_.error(fmt::format("Cannot accept a connection: {}", ec.message()));
        } else {
            auto peer = PeerCredentials::of(socket.native_handle());
            // Every connection counts as open, refused ones too, then ends:
            // the same path a peer failing the signature check takes.
            delegate_->connectionAccepted();
            auto session = std::make_shared<Session>(std::move(socket), delegate_, peer ? peer->pid : 0, log_);
            if (!peer) {
                log_.error("Refused a peer whose credentials could not be read");
                session->close();
            } else if (!isAdmitted(*peer, admittedGroup_)) {
                log_.error(fmt::format("Refused peer uid {} gid {} (pid {}): not root and not in group {}", peer->uid,
                                       peer->gid, peer->pid, options_.admittedGroup));
                session->close();
            } else {
                session->start();
            }
        }
        accept();
    });
}

void UnixSocketListener::run() {
    auto guard = asio::make_work_guard(io_);
    io_.run();
}

void UnixSocketListener::stop() { io_.stop(); }

void UnixSocketListener::park() {
    run();
    // The io_context only stops when told; the process ends by its exit rules.
    for (;;) ::pause();
}

std::unique_ptr<HelperListener> makeHelperListener(std::shared_ptr<ListenerDelegate> delegate,
                                                   const HelperOptions& options) {
    return std::make_unique<UnixSocketListener>(std::move(delegate), options);
}

}  // namespace orv
