#include "Sampling/linux/SocketDiagSocket.h"

#include <libmnl/libmnl.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <algorithm>

namespace orv {

static_assert(SOCK_DIAG_BY_FAMILY == SocketDiagDecoding::byFamilyType);
static_assert(sizeof(inet_diag_msg) == SocketDiagDecoding::messageSize);
static_assert(sizeof(inet_diag_req_v2) == SocketDiagDecoding::requestSize);
static_assert(TCPDIAG_GETSOCK == SocketDiagDecoding::tcpDumpType);
static_assert(sizeof(inet_diag_req) == SocketDiagDecoding::tcpRequestSize);
static_assert(offsetof(inet_diag_req, idiag_ext) == 3 && offsetof(inet_diag_req, id) == 4 &&
              offsetof(inet_diag_req, idiag_states) == 52);
static_assert(offsetof(inet_diag_msg, id) + offsetof(inet_diag_sockid, idiag_sport) ==
              SocketDiagDecoding::sourcePortOffset);
static_assert(offsetof(inet_diag_msg, id) + offsetof(inet_diag_sockid, idiag_dport) ==
              SocketDiagDecoding::destinationPortOffset);
static_assert(offsetof(inet_diag_msg, id) + offsetof(inet_diag_sockid, idiag_src) ==
              SocketDiagDecoding::sourceAddressOffset);
static_assert(offsetof(inet_diag_msg, id) + offsetof(inet_diag_sockid, idiag_dst) ==
              SocketDiagDecoding::destinationAddressOffset);
static_assert(offsetof(inet_diag_msg, id) + offsetof(inet_diag_sockid, idiag_if) ==
              SocketDiagDecoding::interfaceOffset);
static_assert(offsetof(inet_diag_msg, id) + offsetof(inet_diag_sockid, idiag_cookie) ==
              SocketDiagDecoding::cookieOffset);
static_assert(offsetof(inet_diag_msg, idiag_uid) == SocketDiagDecoding::uidOffset);
static_assert(offsetof(inet_diag_msg, idiag_inode) == SocketDiagDecoding::inodeOffset);
static_assert(INET_DIAG_INFO == SocketDiagDecoding::infoAttribute);
static_assert(offsetof(tcp_info, tcpi_bytes_acked) == SocketDiagDecoding::bytesAckedOffset);
static_assert(offsetof(tcp_info, tcpi_bytes_received) == SocketDiagDecoding::bytesReceivedOffset);
// TCP_LISTEN (10) is the kernel's own tcp_states.h, outside the user headers.
static_assert(IPPROTO_TCP == SocketDiagDecoding::tcpProtocol);
static_assert(SKNLGRP_INET_TCP_DESTROY == SocketDiagDecoding::tcp4DestroyGroup);
static_assert(SKNLGRP_INET6_TCP_DESTROY == SocketDiagDecoding::tcp6DestroyGroup);
static_assert(INET_DIAG_REQ_BYTECODE == SocketDiagDecoding::bytecodeAttribute);
static_assert(INET_DIAG_BC_JMP == SocketDiagDecoding::jumpOp && INET_DIAG_BC_D_COND == SocketDiagDecoding::destinationOp);
static_assert(offsetof(inet_diag_req_v2, id) == 8 && offsetof(inet_diag_req_v2, idiag_states) == 4);
static_assert(sizeof(inet_diag_bc_op) == 4 && sizeof(inet_diag_hostcond) == 8);

namespace {

// The kernel fills dump datagrams up to 32 KiB when the reader's buffer
// allows it, so fewer reads per dump.
constexpr size_t receiveSize = 32768;

Result<mnl_socket*> openSocket() {
    mnl_socket* opened = mnl_socket_open(NETLINK_SOCK_DIAG);
    if (!opened) return lastError();
    if (mnl_socket_bind(opened, 0, MNL_SOCKET_AUTOPID) < 0) {
        const auto error = lastError();
        mnl_socket_close(opened);
        return error;
    }
    // The kernel answers a dump at once; the bound only keeps a wedged
    // socket from stalling the sampling thread.
    timeval timeout{1, 0};
    setsockopt(mnl_socket_get_fd(opened), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    return opened;
}

}  // namespace

SocketDiagSocket::~SocketDiagSocket() {
    resetDumps();
    if (destroyed_) mnl_socket_close(destroyed_);
}

void SocketDiagSocket::resetDumps() {
    if (dumps_) mnl_socket_close(dumps_);
    dumps_ = nullptr;
}

Result<std::vector<InetSocket>> SocketDiagSocket::dumpTCP(uint32_t stateMask, bool withInfo, size_t* skipped,
                                                         std::span<const uint8_t> filter) {
    if (!filters_) filter = {};
    std::vector<InetSocket> sockets;
    // One walk of the kernel's tables serves both families: the older
    // TCPDIAG_GETSOCK request asks for AF_UNSPEC, which keeps every socket
    // whatever its family (SOCK_DIAG_BY_FAMILY refuses AF_UNSPEC), and the
    // walk of the 2^18-bucket table costs as much as filling the sockets.
    if (unspecifiedFamily_) {
        auto dumped = dumpFamily(AF_UNSPEC, stateMask, withInfo, sockets, skipped, filter);
        if (dumped) return sockets;
        if (!filter.empty() && dumped.error() == std::errc::invalid_argument) {
            // Either the family or the program was refused: try without the
            // program first.
            sockets.clear();
            filters_ = false;
            filter = {};
            if (dumpFamily(AF_UNSPEC, stateMask, withInfo, sockets, skipped, filter)) return sockets;
        }
        // A kernel that refuses it gets one request per family from now on.
        unspecifiedFamily_ = false;
        sockets.clear();
    }
    for (uint8_t family : {uint8_t(AF_INET), uint8_t(AF_INET6)}) {
        auto dumped = dumpFamily(family, stateMask, withInfo, sockets, skipped, filter);
        if (!dumped) return dumped.error();
    }
    return sockets;
}

Result<void> SocketDiagSocket::dumpFamily(uint8_t family, uint32_t stateMask, bool withInfo,
                                          std::vector<InetSocket>& out, size_t* skipped,
                                          std::span<const uint8_t> filter) {
    if (!dumps_) {
        auto opened = openSocket();
        if (!opened) return opened.error();
        dumps_ = *opened;
    }
    if (receive_.size() != receiveSize) receive_.resize(receiveSize);
    auto failed = [&](std::error_code error) -> Result<void> {
        // A socket left mid-dump would hand the next request this one's rest.
        resetDumps();
        return error;
    };
    const uint32_t sequence = ++sequence_;
    std::vector<uint8_t> buffer(NLMSG_SPACE(SocketDiagDecoding::tcpRequestSize) + MNL_ATTR_HDRLEN + filter.size() + 4);
    uint8_t* request = buffer.data();
    nlmsghdr* header = mnl_nlmsg_put_header(request);
    header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    header->nlmsg_seq = sequence;
    if (family == AF_UNSPEC) {
        header->nlmsg_type = TCPDIAG_GETSOCK;
        const auto body = SocketDiagDecoding::tcpDumpRequest(stateMask, withInfo);
        std::memcpy(mnl_nlmsg_put_extra_header(header, body.size()), body.data(), body.size());
    } else {
        header->nlmsg_type = SOCK_DIAG_BY_FAMILY;
        const auto body = SocketDiagDecoding::dumpRequest(family, stateMask, withInfo);
        std::memcpy(mnl_nlmsg_put_extra_header(header, body.size()), body.data(), body.size());
    }
    if (!filter.empty()) mnl_attr_put(header, INET_DIAG_REQ_BYTECODE, filter.size(), filter.data());
    if (mnl_socket_sendto(dumps_, header, header->nlmsg_len) < 0) return failed(lastError());
    for (;;) {
        ssize_t got = mnl_socket_recvfrom(dumps_, receive_.data(), receive_.size());
        if (got < 0) return failed(lastError());
        auto step = SocketDiagDecoding::sockets(std::span<const uint8_t>(receive_.data(), size_t(got)), sequence,
                                                out, skipped);
        if (!step) return failed(step.error());
        if (*step == NetlinkDecoding::Step::done) return {};
    }
}

Result<std::vector<std::optional<InetSocket>>> SocketDiagSocket::lookUp(std::span<const InetSocket> sockets,
                                                                       bool withInfo) {
    std::vector<std::optional<InetSocket>> found(sockets.size());
    if (sockets.empty()) return found;
    if (!dumps_) {
        auto opened = openSocket();
        if (!opened) return opened.error();
        dumps_ = *opened;
    }
    if (receive_.size() != receiveSize) receive_.resize(receiveSize);
    auto failed = [&](std::error_code error) -> Result<std::vector<std::optional<InetSocket>>> {
        // Answers still on their way would meet the next request.
        resetDumps();
        return error;
    };
    // The kernel takes every request of a datagram in turn and queues one
    // answer for each (about 1 KiB of the receive buffer with its tcp_info):
    // batches small enough that the answers never overflow the buffer,
    // whose overflow would drop them unseen.
    constexpr size_t batch = 64;
    constexpr size_t messageSpace = NLMSG_SPACE(SocketDiagDecoding::requestSize);
    std::vector<uint8_t> requests(batch * messageSpace);
    std::vector<SocketDiagDecoding::LookupAnswer> answers;
    for (size_t first = 0; first < sockets.size(); first += batch) {
        const size_t count = std::min(batch, sockets.size() - first);
        const uint32_t base = sequence_ + 1;
        sequence_ += uint32_t(count);
        std::fill(requests.begin(), requests.end(), 0);
        for (size_t i = 0; i < count; ++i) {
            nlmsghdr* header = mnl_nlmsg_put_header(requests.data() + i * messageSpace);
            header->nlmsg_type = SOCK_DIAG_BY_FAMILY;
            header->nlmsg_flags = NLM_F_REQUEST;
            header->nlmsg_seq = base + uint32_t(i);
            const auto body = SocketDiagDecoding::lookupRequest(sockets[first + i], withInfo);
            std::memcpy(mnl_nlmsg_put_extra_header(header, body.size()), body.data(), body.size());
        }
        if (mnl_socket_sendto(dumps_, requests.data(), count * messageSpace) < 0) return failed(lastError());
        size_t answered = 0;
        std::vector<bool> seen(count, false);
        while (answered < count) {
            ssize_t got = mnl_socket_recvfrom(dumps_, receive_.data(), receive_.size());
            if (got < 0) return failed(lastError());
            answers.clear();
            auto decoded =
                SocketDiagDecoding::lookupAnswers(std::span<const uint8_t>(receive_.data(), size_t(got)), answers);
            if (!decoded) return failed(decoded.error());
            for (auto& answer : answers) {
                const uint32_t index = answer.sequence - base;
                if (index >= count || seen[index]) continue;  // another request's, or again
                seen[index] = true;
                ++answered;
                found[first + index] = std::move(answer.socket);
            }
        }
    }
    return found;
}

Result<void> SocketDiagSocket::watchDestroyed() {
    if (destroyed_) return {};
    mnl_socket* opened = mnl_socket_open2(NETLINK_SOCK_DIAG, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (!opened) return lastError();
    auto failed = [&] {
        const auto error = lastError();
        mnl_socket_close(opened);
        return error;
    };
    if (mnl_socket_bind(opened, 0, MNL_SOCKET_AUTOPID) < 0) return failed();
    for (int group : {int(SKNLGRP_INET_TCP_DESTROY), int(SKNLGRP_INET6_TCP_DESTROY)}) {
        if (mnl_socket_setsockopt(opened, NETLINK_ADD_MEMBERSHIP, &group, sizeof group) < 0) return failed();
    }
    // A burst of closing connections between two drains must fit: a
    // notification is about 250 bytes, so 4 MiB holds some 16,000.
    int size = 4 << 20;
    if (setsockopt(mnl_socket_get_fd(opened), SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) < 0) {
        setsockopt(mnl_socket_get_fd(opened), SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    }
    destroyed_ = opened;
    return {};
}

Result<void> SocketDiagSocket::drainDestroyed(std::vector<InetSocket>& out) {
    if (!destroyed_) return errorFrom(ENOTCONN);
    if (receive_.size() != receiveSize) receive_.resize(receiveSize);
    std::error_code lost;
    for (;;) {
        ssize_t got = ::recv(mnl_socket_get_fd(destroyed_), receive_.data(), receive_.size(), MSG_DONTWAIT);
        if (got < 0) {
            if (errno == EINTR) continue;
            if (errno == ENOBUFS) {
                lost = std::error_code(ENOBUFS, std::generic_category());
                continue;
            }
            if (errno == EAGAIN || errno == EWOULDBLOCK) break;
            return lastError();
        }
        // A notification that does not decode is skipped alone.
        (void)SocketDiagDecoding::sockets(std::span<const uint8_t>(receive_.data(), size_t(got)), std::nullopt, out);
    }
    if (lost) return lost;
    return {};
}

int SocketDiagSocket::destroyedDescriptor() const { return destroyed_ ? mnl_socket_get_fd(destroyed_) : -1; }

}  // namespace orv
