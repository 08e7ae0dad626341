#include "helper/linux/UnixSocketListener.h"

#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <cstring>
#include <fmt/format.h>

#include "HelperProtocol/HelperFrame.h"
#include "HelperProtocol/Methods.h"
#include "helper/linux/PeerCredentials.h"

namespace orv {

namespace asio = boost::asio;
using Protocol = asio::local::stream_protocol;

namespace {

std::chrono::nanoseconds toChrono(Duration d) { return std::chrono::nanoseconds(d.toNanoseconds()); }

// Descriptors (or kernel memory for them) ran out: trying again at once
// would only fail again, as fast as the loop can turn.
bool isExhaustion(const boost::system::error_code& ec) {
    return ec == asio::error::no_descriptors || ec == boost::system::errc::too_many_files_open_in_system ||
           ec == asio::error::no_buffer_space || ec == asio::error::no_memory;
}

}  // namespace

// One client connection. It handles one request at a time: the next frame
// is read only after the previous reply is written, so replies keep the
// order of their requests. Everything runs on the listener's thread; a
// reply from the sampling thread is posted back to it. One deadline guards
// whichever of a begun frame and an unwritten reply is pending; between
// requests there is none.
class UnixSocketListener::Session : public std::enable_shared_from_this<Session> {
public:
    struct Limits {
        Duration write;
        Duration frame;
    };

    Session(Protocol::socket socket, std::shared_ptr<ListenerDelegate> delegate, pid_t pid, Logger log, Limits limits,
            std::function<void()> onEnd)
        : socket_(std::move(socket)),
          deadline_(socket_.get_executor()),
          delegate_(std::move(delegate)),
          pid_(pid),
          log_(std::move(log)),
          limits_(limits),
          onEnd_(std::move(onEnd)) {}

    void start() { processBuffer(); }

    // Ends the connection once; the delegate hears of it once.
    void close() {
        if (closed_) return;
        closed_ = true;
        boost::system::error_code ignored;
        deadline_.cancel();
        socket_.close(ignored);
        delegate_->connectionEnded();
        if (onEnd_) std::exchange(onEnd_, nullptr)();
    }

private:
    void fail(const std::string& why) {
        log_.error(fmt::format("Closing connection from pid {}: {}", pid_, why));
        close();
    }

    // Closes the session with `why` unless disarmed within `limit`.
    void arm(Duration limit, std::string why) {
        const uint64_t armed = ++deadlineGeneration_;
        deadlineArmed_ = true;
        deadline_.expires_after(toChrono(limit));
        auto self = shared_from_this();
        deadline_.async_wait([self, armed, why = std::move(why)](boost::system::error_code ec) {
            if (ec || armed != self->deadlineGeneration_ || !self->deadlineArmed_) return;
            self->fail(why);
        });
    }

    void disarm() {
        if (!deadlineArmed_) return;
        deadlineArmed_ = false;
        ++deadlineGeneration_;
        deadline_.cancel();
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
                // A begun frame must end in time; waiting for the first byte
                // of the next one has no limit.
                if (!buffer_.empty() && !deadlineArmed_) {
                    arm(limits_.frame, fmt::format("request not completed within {:g} s", limits_.frame.toSeconds()));
                }
                readMore();
                return;
            case HelperFrame::Parsed::Status::tooLarge:
                fail(fmt::format("request of {} bytes is over the {}-byte limit", parsed.announced,
                                 HelperFrame::maxRequestBytes));
                return;
            case HelperFrame::Parsed::Status::complete:
                break;
        }
        disarm();
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
        // A client that never reads would hold the reply's memory forever.
        arm(limits_.write, fmt::format("reply of {} bytes not read within {:g} s", header_.size() + payload_.size(),
                                       limits_.write.toSeconds()));
        asio::async_write(socket_, buffers, [self](boost::system::error_code ec, size_t) {
            if (ec) {
                self->close();
                return;
            }
            self->disarm();
            self->payload_.clear();
            self->payload_.shrink_to_fit();
            self->processBuffer();
        });
    }

    Protocol::socket socket_;
    asio::steady_timer deadline_;
    std::shared_ptr<ListenerDelegate> delegate_;
    pid_t pid_;
    Logger log_;
    Limits limits_;
    std::function<void()> onEnd_;
    std::array<char, 4096> chunk_{};
    std::string buffer_;
    std::string header_;
    std::string payload_;
    uint64_t deadlineGeneration_ = 0;
    bool deadlineArmed_ = false;
    bool closed_ = false;
};

UnixSocketListener::UnixSocketListener(std::shared_ptr<ListenerDelegate> delegate, HelperOptions options)
    : delegate_(std::move(delegate)), options_(std::move(options)), acceptor_(io_), acceptRetry_(io_) {}

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
    // The file bind makes takes the socket's own mode, less the umask: set
    // on the descriptor, it never opens wider than configured, not even
    // for a moment.
    if (!ec && ::fchmod(acceptor_.native_handle(), options_.socketMode) != 0) {
        ec = boost::system::error_code(errno, boost::system::system_category());
    }
    if (!ec) acceptor_.bind(Protocol::endpoint(path), ec);
    if (ec) {
        log_.error(fmt::format("Cannot listen on {}: {}", path, ec.message()));
        return false;
    }
    // Mode and group first, then listen: no client can connect before the
    // file says who may. Neither call follows a link put in the socket's place.
    if (::fchmodat(AT_FDCWD, path.c_str(), options_.socketMode, AT_SYMLINK_NOFOLLOW) != 0) {
        log_.error(fmt::format("Cannot set the mode of {}: {}", path, std::strerror(errno)));
        return false;
    }
    if (admittedGroup_ && ::fchownat(AT_FDCWD, path.c_str(), uid_t(-1), *admittedGroup_, AT_SYMLINK_NOFOLLOW) != 0) {
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
            if (isExhaustion(ec)) {
                // The clients already connected are served on; the pending
                // connection waits in the backlog until a descriptor frees.
                if (!outOfDescriptorsEpisode_) {
                    outOfDescriptorsEpisode_ = true;
                    log_.error(fmt::format("Cannot accept a connection: {}", ec.message()));
                }
                acceptLater();
                return;
            }
            log_.error(fmt::format("Cannot accept a connection: {}", ec.message()));
            accept();
            return;
        }
        if (outOfDescriptorsEpisode_) {
            outOfDescriptorsEpisode_ = false;
            log_.notice("Accepting connections again");
        }
        auto peer = PeerCredentials::of(socket.native_handle());
        if (peer && isAdmitted(*peer, admittedGroup_) && !admitsAnotherSession(peer->pid)) {
            // Not a session: closed before the lifetime rules hear of it.
            ++closedOverCap_;
            boost::system::error_code ignored;
            socket.close(ignored);
            accept();
            return;
        }
        // Every connection counts as open, refused ones too, then ends:
        // the same path a peer failing the signature check takes.
        delegate_->connectionAccepted();
        const pid_t pid = peer ? peer->pid : 0;
        if (!peer) {
            log_.error("Refused a peer whose credentials could not be read");
            makeSession(std::move(socket), pid, false)->close();
        } else if (!isAdmitted(*peer, admittedGroup_)) {
            log_.error(fmt::format("Refused peer uid {} gid {} (pid {}): not root and not in group {}", peer->uid,
                                   peer->gid, peer->pid, options_.admittedGroup));
            makeSession(std::move(socket), pid, false)->close();
        } else {
            ++sessions_;
            ++sessionsByPeer_[pid];
            makeSession(std::move(socket), pid, true)->start();
        }
        accept();
    });
}

std::shared_ptr<UnixSocketListener::Session> UnixSocketListener::makeSession(Protocol::socket socket, pid_t pid,
                                                                             bool counted) {
    std::function<void()> onEnd;
    if (counted) onEnd = [this, pid] { sessionEnded(pid); };
    return std::make_shared<Session>(std::move(socket), delegate_, pid, log_,
                                     Session::Limits{options_.writeLimit, options_.frameLimit}, std::move(onEnd));
}

void UnixSocketListener::acceptLater() {
    acceptRetry_.expires_after(toChrono(options_.acceptRetryDelay));
    acceptRetry_.async_wait([this](boost::system::error_code ec) {
        if (!ec) accept();
    });
}

bool UnixSocketListener::admitsAnotherSession(pid_t pid) {
    auto found = sessionsByPeer_.find(pid);
    const size_t ofPeer = found == sessionsByPeer_.end() ? 0 : found->second;
    if (ofPeer < options_.maxSessionsPerClient && sessions_ < options_.maxSessions) return true;
    if (!overCapEpisode_) {
        overCapEpisode_ = true;
        if (sessions_ >= options_.maxSessions) {
            log_.error(fmt::format("{} sessions open; closing new connections until one ends", sessions_));
        } else {
            log_.error(fmt::format("pid {} holds {} sessions; closing its new connections until one ends", pid, ofPeer));
        }
    }
    return false;
}

void UnixSocketListener::sessionEnded(pid_t pid) {
    if (sessions_ > 0) --sessions_;
    if (auto found = sessionsByPeer_.find(pid); found != sessionsByPeer_.end() && --found->second == 0) {
        sessionsByPeer_.erase(found);
    }
    if (overCapEpisode_) {
        overCapEpisode_ = false;
        log_.notice(fmt::format("A session ended; {} connections were closed over the cap so far",
                                closedOverCap_.load()));
    }
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
