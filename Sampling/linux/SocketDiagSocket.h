#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Sampling/SocketDiagDecoding.h"
#include "core/Result.h"

struct mnl_socket;

namespace orv {

// The kernel's socket diagnostics (NETLINK_SOCK_DIAG): dumps of the TCP
// sockets of both families, and the notifications of destroyed ones. A
// dump needs no privilege (each socket's uid and inode are in it); joining
// the destroy groups needs CAP_NET_ADMIN.
class SocketDiagSocket {
public:
    // TCPF_ALL: every TCP state, TIME_WAIT and NEW_SYN_RECV included.
    static constexpr uint32_t allStates = 0xfff;
    static constexpr uint32_t listenStates = 1u << SocketDiagDecoding::listenState;
    // The states in which a socket has a descriptor and may move bytes:
    // every state but LISTEN, TIME_WAIT (6) and NEW_SYN_RECV (12), which
    // hold no descriptor; leaving them out spares the kernel the walk of
    // its listening table.
    static constexpr uint32_t connectedStates = allStates & ~listenStates & ~(1u << 6) & ~(1u << 12);

    SocketDiagSocket() = default;
    SocketDiagSocket(const SocketDiagSocket&) = delete;
    SocketDiagSocket& operator=(const SocketDiagSocket&) = delete;
    ~SocketDiagSocket();

    // Every TCP socket, IPv4 then IPv6, in a state of `stateMask`, with its
    // tcp_info byte counts when `withInfo`. Messages that do not decode are
    // skipped and counted in `skipped`.
    // `filter` is a program for the kernel (SocketDiagDecoding's); a kernel
    // that refuses it is asked without it from then on.
    Result<std::vector<InetSocket>> dumpTCP(uint32_t stateMask, bool withInfo, size_t* skipped = nullptr,
                                            std::span<const uint8_t> filter = {});

    // The sockets `sockets` name (SocketDiagDecoding::lookupRequest), each
    // found through the kernel's hash rather than a walk of its table, with
    // its tcp_info when `withInfo`: one entry per socket asked for, in
    // order, absent for one that is gone. A lookup costs a few
    // microseconds, so a few hundred cost less than one dump's walk.
    Result<std::vector<std::optional<InetSocket>>> lookUp(std::span<const InetSocket> sockets, bool withInfo);

    // Joins the TCP destroy groups of both families (once).
    Result<void> watchDestroyed();
    // Appends the sockets destroyed since the last call, without waiting.
    // ENOBUFS means notifications were lost (the receive queue overflowed);
    // what was read stands and the next call goes on.
    Result<void> drainDestroyed(std::vector<InetSocket>& out);
    // The descriptor the notifications arrive on, -1 before watchDestroyed.
    int destroyedDescriptor() const;

private:
    // `family` AF_UNSPEC asks with the older request, which covers both.
    Result<void> dumpFamily(uint8_t family, uint32_t stateMask, bool withInfo, std::vector<InetSocket>& out,
                            size_t* skipped, std::span<const uint8_t> filter);
    void resetDumps();

    mnl_socket* dumps_ = nullptr;
    mnl_socket* destroyed_ = nullptr;
    uint32_t sequence_ = 0;
    bool unspecifiedFamily_ = true;
    bool filters_ = true;
    std::vector<uint8_t> receive_;
};

}  // namespace orv
