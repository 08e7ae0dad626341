#include "support/NetworkNamespace.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace orv::test {

namespace {

bool run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }

}  // namespace

std::optional<NetworkNamespace> NetworkNamespace::make(std::string& whyNot) {
    if (::geteuid() != 0) {
        whyNot = "making a network namespace needs root";
        return std::nullopt;
    }
    if (!run("command -v ip")) {
        whyNot = "ip(8) is not installed";
        return std::nullopt;
    }
    const int subnet = int(::getpid() % 250) + 1;
    const std::string name = "orvtest" + std::to_string(::getpid());
    const std::string host = "orvh" + std::to_string(::getpid());
    const std::string peer = "orvp" + std::to_string(::getpid());
    const std::string prefix = "10.213." + std::to_string(subnet) + ".";
    run("ip netns del " + name);
    run("ip link del " + host);
    const bool made = run("ip netns add " + name) && run("ip link add " + host + " type veth peer name " + peer) &&
                      run("ip link set " + peer + " netns " + name) &&
                      run("ip addr add " + prefix + "1/30 dev " + host) && run("ip link set " + host + " up") &&
                      run("ip -n " + name + " addr add " + prefix + "2/30 dev " + peer) &&
                      run("ip -n " + name + " link set " + peer + " up") && run("ip -n " + name + " link set lo up");
    if (!made) {
        run("ip netns del " + name);
        run("ip link del " + host);
        whyNot = "this machine cannot make a network namespace with a veth pair";
        return std::nullopt;
    }
    return NetworkNamespace(name, subnet);
}

NetworkNamespace::NetworkNamespace(NetworkNamespace&& other) noexcept
    : name_(std::move(other.name_)), subnet_(other.subnet_) {
    other.name_.clear();
}

NetworkNamespace::~NetworkNamespace() {
    if (name_.empty()) return;
    // Deleting the namespace takes its end of the pair, and so the pair.
    run("ip netns del " + name_);
}

std::string NetworkNamespace::outsideAddress() const { return "10.213." + std::to_string(subnet_) + ".1"; }
std::string NetworkNamespace::insideAddress() const { return "10.213." + std::to_string(subnet_) + ".2"; }

NetworkNamespace::Server NetworkNamespace::serve(uint16_t port, size_t reply, size_t readFirst) const {
    return listen(port, [reply, readFirst](int connection) {
        std::vector<char> buffer(65536, 'r');
        size_t got = 0;
        while (got < readFirst) {
            ssize_t n = ::read(connection, buffer.data(), std::min(buffer.size(), readFirst - got));
            if (n <= 0) break;
            got += size_t(n);
        }
        size_t written = 0;
        while (written < reply) {
            ssize_t n = ::write(connection, buffer.data(), std::min(buffer.size(), reply - written));
            if (n <= 0) break;
            written += size_t(n);
        }
        while (::read(connection, buffer.data(), buffer.size()) > 0) {
        }
        ::close(connection);
    });
}

NetworkNamespace::Server NetworkNamespace::serveWithoutReading(uint16_t port) const {
    // Left open: the child is killed with its connections.
    return listen(port, [](int) {});
}

NetworkNamespace::Server NetworkNamespace::listen(uint16_t port, const std::function<void(int)>& handle) const {
    int ready[2];
    if (::pipe(ready) != 0) return Server(-1);
    const std::string path = "/run/netns/" + name_;
    const std::string address = insideAddress();
    pid_t child = ::fork();
    if (child == 0) {
        ::close(ready[0]);
        int ns = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (ns < 0 || ::setns(ns, CLONE_NEWNET) != 0) ::_exit(2);
        int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        int on = 1;
        ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in bound{};
        bound.sin_family = AF_INET;
        bound.sin_port = htons(port);
        ::inet_pton(AF_INET, address.c_str(), &bound.sin_addr);
        if (::bind(listener, reinterpret_cast<sockaddr*>(&bound), sizeof bound) != 0 || ::listen(listener, 16) != 0) {
            ::_exit(3);
        }
        char one = 1;
        if (::write(ready[1], &one, 1) != 1) ::_exit(4);
        for (;;) {
            int connection = ::accept(listener, nullptr, nullptr);
            if (connection >= 0) handle(connection);
        }
    }
    ::close(ready[1]);
    char one = 0;
    const bool started = child > 0 && ::read(ready[0], &one, 1) == 1;
    ::close(ready[0]);
    if (!started && child > 0) {
        stop(child);
        return Server(-1);
    }
    return Server(child);
}

void NetworkNamespace::stop(pid_t server) {
    if (server <= 0) return;
    ::kill(server, SIGKILL);
    ::waitpid(server, nullptr, 0);
}

}  // namespace orv::test
