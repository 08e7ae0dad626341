#include "Sampling/ContainerEngine.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "Sampling/PlatformTraits.h"
#include "core/FileDescriptor.h"
#include "core/TextDecoding.h"

namespace orv {

namespace {

// The engine answers a stop only once the container is down: the grace
// period of 5 s and some more.
constexpr int answerTimeoutMs = 15000;

bool isSafeID(std::string_view id) {
    if (id.empty() || id.size() > 128) return false;
    for (char c : id) {
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.' || c == '-')) return false;
    }
    return true;
}

}  // namespace

ContainerEngine::ContainerEngine(std::filesystem::path socketPath) : socketPath_(std::move(socketPath)) {}

std::unique_ptr<ContainerEngine> ContainerEngine::find() {
    std::vector<std::filesystem::path> candidates;
    if (const char* host = std::getenv("DOCKER_HOST"); host && std::string_view(host).starts_with("unix://")) {
        candidates.emplace_back(std::string_view(host).substr(7));
    }
    candidates.emplace_back("/var/run/docker.sock");
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR")) {
        candidates.emplace_back(std::filesystem::path(runtime) / "podman/podman.sock");
    }
    candidates.emplace_back("/run/podman/podman.sock");
    for (const auto& path : candidates) {
        std::error_code error;
        if (std::filesystem::is_socket(path, error)) return std::make_unique<ContainerEngine>(path);
    }
    return nullptr;
}

std::optional<int> ContainerEngine::statusCode(std::string_view response) {
    auto line = response.substr(0, response.find("\r\n"));
    if (!line.starts_with("HTTP/1.")) return std::nullopt;
    auto space = line.find(' ');
    if (space == std::string_view::npos || line.size() < space + 4) return std::nullopt;
    return TextDecoding::parseNumber<int>(line.substr(space + 1, 3));
}

std::optional<std::string> ContainerEngine::stop(std::string_view id, bool force) {
    if (!isSafeID(id)) return "Not a container id: " + std::string(id);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto& native = socketPath_.native();
    if (native.size() >= sizeof address.sun_path) return "Engine socket path too long: " + native;
    std::memcpy(address.sun_path, native.c_str(), native.size() + 1);
    // SOCK_CLOEXEC is Linux's; macOS sets the flag afterwards.
    FileDescriptor fd(::socket(AF_UNIX, SOCK_STREAM, 0));
    if (!fd.valid()) return std::string("Cannot create a socket: ") + std::strerror(errno);
    ::fcntl(fd.get(), F_SETFD, FD_CLOEXEC);
    if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return "Cannot reach the container engine at " + native + ": " + std::strerror(errno);
    }
    const std::string request = "POST /containers/" + std::string(id) + (force ? "/kill?signal=SIGKILL" : "/stop?t=5") +
                                " HTTP/1.1\r\nHost: localhost\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    for (size_t sent = 0; sent < request.size();) {
        const ssize_t n = PlatformTraits::sendWithoutSignal(fd.get(), request.data() + sent, request.size() - sent);
        if (n <= 0) return std::string("Cannot send to the container engine: ") + std::strerror(errno);
        sent += size_t(n);
    }
    std::string response;
    char buffer[4096];
    while (response.find("\r\n") == std::string::npos && response.size() < 65536) {
        pollfd p{fd.get(), POLLIN, 0};
        if (::poll(&p, 1, answerTimeoutMs) <= 0) return std::string("The container engine did not answer");
        const ssize_t n = ::recv(fd.get(), buffer, sizeof buffer, 0);
        if (n <= 0) break;
        response.append(buffer, size_t(n));
    }
    auto status = statusCode(response);
    if (!status) return std::string("The container engine's answer is not HTTP");
    if (*status == 204 || *status == 304 || *status == 200) return std::nullopt;
    if (*status == 404) return "No such container: " + std::string(id);
    if (*status == 409) return "Container " + std::string(id) + " is not running";
    return "The container engine refused with status " + std::to_string(*status);
}

}  // namespace orv
