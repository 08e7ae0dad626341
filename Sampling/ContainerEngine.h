#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orv {

// A container engine that serves the Docker-compatible API on a Unix socket
// (Docker, and Podman's service), spoken as plain HTTP/1.1.
class ContainerEngine {
public:
    explicit ContainerEngine(std::filesystem::path socketPath);

    // The first engine socket that exists: $DOCKER_HOST when it names a
    // unix:// path, /var/run/docker.sock, $XDG_RUNTIME_DIR/podman/podman.sock,
    // /run/podman/podman.sock; absent when there is none.
    static std::unique_ptr<ContainerEngine> find();

    // Stops container `id`: POST /containers/{id}/stop (the engine sends
    // SIGTERM, then SIGKILL after 5 s) or, to force, /kill. Absent on
    // success (a container already stopped counts); else the failure.
    std::optional<std::string> stop(std::string_view id, bool force);

    // The status code of an HTTP/1.1 response's status line; absent when
    // the text is not one. Pure.
    static std::optional<int> statusCode(std::string_view response);

    const std::filesystem::path& socketPath() const { return socketPath_; }

private:
    std::filesystem::path socketPath_;
};

}  // namespace orv
