#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace orv::test {

// A network namespace joined to this one by a veth pair with addresses of
// its own (10.213.N.1 here, 10.213.N.2 inside), so a test can move real
// traffic over a real interface without any address outside this machine.
// Made with ip(8), removed with everything in it at the end of the scope.
class NetworkNamespace {
public:
    // Absent, with the reason in `whyNot`, when namespaces cannot be made
    // (not root, no ip(8), a kernel without them).
    static std::optional<NetworkNamespace> make(std::string& whyNot);

    NetworkNamespace(NetworkNamespace&& other) noexcept;
    NetworkNamespace& operator=(NetworkNamespace&&) = delete;
    ~NetworkNamespace();

    const std::string& name() const { return name_; }
    std::string outsideAddress() const;  // ours, on the host side of the pair
    std::string insideAddress() const;   // the namespace's

    // A child server, killed and reaped when this goes, on every path out
    // of a test.
    class Server {
    public:
        explicit Server(pid_t pid) : pid_(pid) {}
        Server(Server&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
        Server& operator=(Server&&) = delete;
        ~Server() { stop(pid_); }
        explicit operator bool() const { return pid_ > 0; }
        pid_t pid() const { return pid_; }

    private:
        pid_t pid_;
    };

    // A child that enters the namespace, listens on insideAddress():port,
    // and for each connection reads until the peer stops sending or
    // `readFirst` bytes came, writes `reply` bytes, then reads until the
    // peer stops and closes. Ready when this returns.
    Server serve(uint16_t port, size_t reply, size_t readFirst = SIZE_MAX) const;
    // A child like serve()'s that accepts connections, holds them and never
    // reads: a peer's sends stall once the windows fill, and the peer's
    // socket, once closed, waits in FIN_WAIT1 with what it could not send.
    Server serveWithoutReading(uint16_t port) const;
    static void stop(pid_t server);

private:
    // Listens in the namespace from a child that hands each connection to
    // `handle`; ready when this returns.
    Server listen(uint16_t port, const std::function<void(int)>& handle) const;
    NetworkNamespace(std::string name, int subnet) : name_(std::move(name)), subnet_(subnet) {}
    std::string name_;
    int subnet_ = 0;
};

}  // namespace orv::test
