#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/ListeningPort.h"

namespace orv {

// What the developer-server scan needs of one process beyond its reading.
struct DevProcessDetails {
    std::vector<std::string> arguments;  // argv
    int32_t processGroup = 0;
    int32_t session = 0;
    std::optional<std::string> goBuildID;  // the Go linker's note in its executable
    friend bool operator==(const DevProcessDetails&, const DevProcessDetails&) = default;
};

// The platform's listening sockets and their owners.
// - Linux: a socket-diagnostics dump of TCP sockets in LISTEN state (IPv4
//   and IPv6), each socket's inode matched to its process through
//   proc/<pid>/fd, the directory from proc/<pid>/cwd; argv from cmdline,
//   group and session from stat, the Go note from the first 64 KiB of exe.
//   Unprivileged, only one's own processes' descriptors can be read.
// - macOS: proc_listpids, PROC_PIDLISTFDS and PROC_PIDFDSOCKETINFO for
//   listening TCP sockets, PROC_PIDVNODEPATHINFO for the directory,
//   KERN_PROCARGS2 for argv.
class DevServerPort {
public:
    virtual ~DevServerPort() = default;

    // Every listening TCP socket whose owner could be found, by ascending
    // pid then port, each once. Throws SamplingError when the system's list
    // of sockets cannot be read at all.
    virtual std::vector<ListeningPort> listeningPorts() = 0;

    // Absent when the process is gone or its details are refused.
    virtual std::optional<DevProcessDetails> details(int32_t pid) = 0;
};

std::unique_ptr<DevServerPort> makeDevServerPort(const std::filesystem::path& root = "/");

}  // namespace orv
