#include "helper/linux/PeerCredentials.h"

#include <grp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#ifndef SO_PEERGROUPS
#define SO_PEERGROUPS 59  // Linux 4.13; older libc headers lack the name
#endif

namespace orv {

std::optional<PeerCredentials> PeerCredentials::of(int socket) {
    ucred cred{};
    socklen_t length = sizeof cred;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &cred, &length) != 0 || length != sizeof cred) {
        return std::nullopt;
    }
    PeerCredentials out;
    out.pid = cred.pid;
    out.uid = cred.uid;
    out.gid = cred.gid;
    // The kernel says how much room the list needs when the first guess is
    // too small (ERANGE with the needed length).
    std::vector<gid_t> groups(64);
    for (int attempt = 0; attempt < 4; ++attempt) {
        socklen_t bytes = socklen_t(groups.size() * sizeof(gid_t));
        if (::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &bytes) == 0) {
            groups.resize(bytes / sizeof(gid_t));
            out.groups = std::move(groups);
            return out;
        }
        if (errno != ERANGE) return std::nullopt;
        groups.resize(std::max<size_t>(bytes / sizeof(gid_t), groups.size() * 2));
    }
    return std::nullopt;
}

bool isAdmitted(const PeerCredentials& peer, std::optional<gid_t> admittedGroup) {
    if (peer.uid == 0) return true;
    if (!admittedGroup) return false;
    if (peer.gid == *admittedGroup) return true;
    return std::find(peer.groups.begin(), peer.groups.end(), *admittedGroup) != peer.groups.end();
}

std::optional<gid_t> groupID(const std::string& name) {
    group entry{};
    group* found = nullptr;
    std::vector<char> buffer(16 * 1024);
    while (::getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
           buffer.size() < (1u << 22)) {
        buffer.resize(buffer.size() * 2);
    }
    if (!found) return std::nullopt;
    return found->gr_gid;
}

}  // namespace orv
