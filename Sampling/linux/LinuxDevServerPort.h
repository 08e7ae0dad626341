#pragma once

#include <filesystem>
#include <functional>
#include <vector>

#include "Sampling/DevServerPort.h"
#include "Sampling/SocketDiagDecoding.h"
#include "Sampling/linux/ProcSocketOwners.h"
#include "core/Result.h"

namespace orv {

// Listening sockets from a socket-diagnostics dump, their owners from
// proc/<pid>/fd below `root`. The dump is a function so that tests hand in
// decoded sockets of their own beside a fixture tree.
class LinuxDevServerPort : public DevServerPort {
public:
    using SocketList = std::function<Result<std::vector<InetSocket>>()>;

    // How much of an executable is read for the Go note, which the Go
    // linker puts in the first page.
    static constexpr size_t executableHeadBytes = 64 * 1024;

    explicit LinuxDevServerPort(std::filesystem::path root, SocketList listListening = {});

    std::vector<ListeningPort> listeningPorts() override;
    std::optional<DevProcessDetails> details(int32_t pid) override;

    // The pids of the processes listed below root/proc, ascending.
    std::vector<int32_t> processIDs() const;

    // Each listening socket joined with its owner; sockets whose inode no
    // listed process holds are left out. Pure apart from reading cwd links.
    std::vector<ListeningPort> join(const std::vector<InetSocket>& sockets,
                                    const std::unordered_map<uint64_t, int32_t>& owners) const;

private:
    std::filesystem::path root_;
    SocketList listListening_;
    ProcSocketOwners owners_;
};

}  // namespace orv
