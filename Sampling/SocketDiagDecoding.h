#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Sampling/NetlinkDecoding.h"
#include "core/Result.h"

namespace orv {

// One IPv4 or IPv6 socket as the kernel's socket diagnostics describe it: a
// SOCK_DIAG_BY_FAMILY message of a dump, or of a destroy notification.
struct InetSocket {
    uint8_t family = 0;  // NetlinkDecoding::inetFamily or inet6Family
    uint8_t state = 0;   // the TCP state (SocketDiagDecoding::listenState, …)
    uint16_t localPort = 0;
    uint16_t remotePort = 0;
    // Addresses in network order; an IPv4 address fills the first 4 bytes.
    std::array<uint8_t, 16> localAddress{};
    std::array<uint8_t, 16> remoteAddress{};
    uint32_t interfaceIndex = 0;  // the bound device, 0 when unbound
    uint64_t cookie = 0;          // the kernel's identity of the socket, never reused while it runs
    uint32_t uid = 0;
    uint64_t inode = 0;           // the inode behind proc/<pid>/fd's "socket:[N]"
    // tcp_info's byte counts (INET_DIAG_INFO); absent when the message
    // carried none, as for a socket that is not TCP.
    std::optional<uint64_t> bytesReceived;
    std::optional<uint64_t> bytesAcked;

    // Both ends on a loopback address (127.0.0.0/8, ::1, or an IPv4-mapped
    // loopback), or bound to the loopback interface `loopbackIndex`.
    bool isLoopback(uint32_t loopbackIndex = 1) const;
    // The local address as `ip` and `ss` write it ("127.0.0.1", "::1").
    std::string localAddressText() const;

    friend bool operator==(const InetSocket&, const InetSocket&) = default;
};

// Decoding of socket-diagnostics messages (<linux/inet_diag.h>,
// <linux/sock_diag.h>, <linux/tcp.h>), named here so it runs on any host;
// the Linux ports check the layouts against the kernel headers.
struct SocketDiagDecoding {
    static constexpr uint16_t byFamilyType = 20;       // SOCK_DIAG_BY_FAMILY
    static constexpr size_t messageSize = 72;          // struct inet_diag_msg
    static constexpr size_t requestSize = 56;          // struct inet_diag_req_v2
    static constexpr uint16_t tcpDumpType = 18;        // TCPDIAG_GETSOCK, the older request
    static constexpr size_t tcpRequestSize = 60;       // struct inet_diag_req, the older request
    static constexpr size_t sourcePortOffset = 4;      // id.idiag_sport (network order)
    static constexpr size_t destinationPortOffset = 6; // id.idiag_dport
    static constexpr size_t sourceAddressOffset = 8;   // id.idiag_src
    static constexpr size_t destinationAddressOffset = 24;  // id.idiag_dst
    static constexpr size_t interfaceOffset = 40;      // id.idiag_if
    static constexpr size_t cookieOffset = 44;         // id.idiag_cookie[2], low word first
    static constexpr size_t uidOffset = 64;            // idiag_uid
    static constexpr size_t inodeOffset = 68;          // idiag_inode
    static constexpr uint16_t infoAttribute = 2;       // INET_DIAG_INFO, a struct tcp_info
    static constexpr size_t bytesAckedOffset = 120;    // tcp_info.tcpi_bytes_acked
    static constexpr size_t bytesReceivedOffset = 128; // tcp_info.tcpi_bytes_received
    static constexpr uint8_t listenState = 10;         // TCP_LISTEN
    static constexpr uint8_t tcpProtocol = 6;          // IPPROTO_TCP
    // Multicast groups of destroyed sockets (SKNLGRP_*).
    static constexpr unsigned tcp4DestroyGroup = 1;
    static constexpr unsigned tcp6DestroyGroup = 3;

    // One message's payload; absent when it is shorter than an
    // inet_diag_msg, has a family other than IPv4 or IPv6, or its
    // attributes run past the end.
    static std::optional<InetSocket> socket(std::span<const uint8_t> payload);

    // Appends the sockets of `datagram`'s SOCK_DIAG_BY_FAMILY messages (or
    // TCPDIAG_GETSOCK ones, the answer to that request) with
    // sequence `sequence` (every message when absent, as for destroy
    // notifications). A message that does not decode is skipped and counted
    // in `skipped`; the others stand. The error is an NLMSG_ERROR's errno or
    // NetlinkDecoding::malformed() for a header that runs past the datagram.
    static Result<NetlinkDecoding::Step> sockets(std::span<const uint8_t> datagram, std::optional<uint32_t> sequence,
                                                 std::vector<InetSocket>& out, size_t* skipped = nullptr);

    // The bytes of an inet_diag_req_v2 dump request for TCP sockets of
    // `family` in the states of `stateMask` (bit n for state n), asking for
    // INET_DIAG_INFO when `withInfo`.
    static std::array<uint8_t, requestSize> dumpRequest(uint8_t family, uint32_t stateMask, bool withInfo);
    // The bytes of the older TCPDIAG_GETSOCK request (an inet_diag_req) for
    // TCP sockets of both families in one walk of the kernel's table: a
    // SOCK_DIAG_BY_FAMILY request must name one family, and the kernel walks
    // its whole connection table for each.
    static std::array<uint8_t, tcpRequestSize> tcpDumpRequest(uint32_t stateMask, bool withInfo);

    // The bytes of an inet_diag_req_v2 that asks for the one socket
    // `socket` names (its family, ports, addresses, bound device and
    // cookie), with its tcp_info when `withInfo`: the kernel finds it
    // through its hash, without walking its table, and refuses it with
    // ESTALE when another socket has taken that address since.
    static std::array<uint8_t, requestSize> lookupRequest(const InetSocket& socket, bool withInfo);

    // The kernel's answer to one lookup: the socket, or none (an
    // NLMSG_ERROR with ENOENT or ESTALE: no such socket any more).
    struct LookupAnswer {
        uint32_t sequence = 0;
        std::optional<InetSocket> socket;

        friend bool operator==(const LookupAnswer&, const LookupAnswer&) = default;
    };
    // Appends the answers in `datagram`. Another errno, or a message that
    // does not decode, fails the whole datagram (malformed() for the
    // latter): an answer that cannot be read cannot be told from one that
    // was never sent.
    static Result<void> lookupAnswers(std::span<const uint8_t> datagram, std::vector<LookupAnswer>& out);

    static constexpr uint16_t bytecodeAttribute = 1;  // INET_DIAG_REQ_BYTECODE
    static constexpr uint8_t jumpOp = 1;              // INET_DIAG_BC_JMP
    static constexpr uint8_t destinationOp = 8;       // INET_DIAG_BC_D_COND
    // The kernel's filter program (the value of an INET_DIAG_REQ_BYTECODE
    // attribute) that leaves out sockets whose peer is a loopback address
    // (127.0.0.0/8, which also matches IPv4-mapped IPv6 peers, and ::1), so
    // the kernel does not describe the sockets that are never counted.
    static std::vector<uint8_t> nonLoopbackFilter();
    // What the kernel's filter program decides for `socket`: kept (true) or
    // left out; absent for a program it would refuse. The kernel's own walk,
    // for tests on any host.
    static std::optional<bool> runFilter(std::span<const uint8_t> program, const InetSocket& socket);
};

}  // namespace orv
