#include "Sampling/linux/ProcSocketOwners.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include "Sampling/linux/ProcPath.h"
#include "core/TextDecoding.h"

namespace orv {

std::optional<uint64_t> ProcSocketOwners::socketInode(std::string_view link) {
    constexpr std::string_view prefix = "socket:[";
    if (!link.starts_with(prefix) || !link.ends_with(']')) return std::nullopt;
    return TextDecoding::parseNumber<uint64_t>(link.substr(prefix.size(), link.size() - prefix.size() - 1));
}

ProcSocketOwners::ProcSocketOwners(const std::filesystem::path& root) : proc_(root / "proc") {}

template <class Visit>
bool ProcSocketOwners::forEachSocket(int32_t pid, Visit visit) const {
    ProcPath fdPath(pid, "fd");
    if (!fdPath.valid()) return false;
    const auto folder = proc_ / fdPath.c_str();
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return false;
    DIR* entries = ::fdopendir(fd);
    if (!entries) {
        ::close(fd);
        return false;
    }
    char link[64];
    bool more = true;
    while (more) {
        const dirent* entry = ::readdir(entries);
        if (!entry) break;
        if (entry->d_name[0] == '.') continue;
        // A socket link is short; a longer one (a path) is not a socket.
        const ssize_t length = ::readlinkat(fd, entry->d_name, link, sizeof link);
        if (length <= 0 || size_t(length) >= sizeof link) continue;
        if (auto inode = socketInode(std::string_view(link, size_t(length)))) more = visit(*inode);
    }
    ::closedir(entries);
    return true;
}

std::unordered_map<uint64_t, int32_t> ProcSocketOwners::owners(const std::unordered_set<uint64_t>& wanted,
                                                               std::span<const int32_t> pids) const {
    std::unordered_map<uint64_t, int32_t> found;
    if (wanted.empty()) return found;
    for (int32_t pid : pids) {
        forEachSocket(pid, [&](uint64_t inode) {
            if (wanted.contains(inode)) found.try_emplace(inode, pid);
            return found.size() < wanted.size();
        });
        if (found.size() == wanted.size()) break;
    }
    return found;
}

std::optional<std::unordered_set<uint64_t>> ProcSocketOwners::socketsOf(int32_t pid) const {
    std::unordered_set<uint64_t> sockets;
    if (!forEachSocket(pid, [&](uint64_t inode) {
            sockets.insert(inode);
            return true;
        })) {
        return std::nullopt;
    }
    return sockets;
}

}  // namespace orv
