#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace orv {

// Which process holds a socket: the kernel names a socket descriptor's link
// in proc/<pid>/fd "socket:[<inode>]", and socket diagnostics give the same
// inode. Reading another user's fd folder needs CAP_SYS_PTRACE and
// CAP_DAC_READ_SEARCH; without them only one's own processes answer.
class ProcSocketOwners {
public:
    // The inode of a "socket:[N]" link text; absent for any other link.
    static std::optional<uint64_t> socketInode(std::string_view link);

    explicit ProcSocketOwners(const std::filesystem::path& root);

    // The owners of the `wanted` inodes among the processes `pids`, read in
    // that order and stopping once every inode is found. A process whose fd
    // folder cannot be read (gone, refused) is passed over. A socket held by
    // several processes (inherited across fork) goes to the first that
    // holds it.
    std::unordered_map<uint64_t, int32_t> owners(const std::unordered_set<uint64_t>& wanted,
                                                 std::span<const int32_t> pids) const;

    // Every socket inode that process `pid` holds, or absent when its fd
    // folder cannot be read.
    std::optional<std::unordered_set<uint64_t>> socketsOf(int32_t pid) const;

private:
    template <class Visit>
    bool forEachSocket(int32_t pid, Visit visit) const;

    std::filesystem::path proc_;
};

}  // namespace orv
