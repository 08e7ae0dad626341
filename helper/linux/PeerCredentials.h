#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace orv {

// Who is on the other end of a Unix socket, as the kernel recorded it when
// the peer connected.
struct PeerCredentials {
    pid_t pid = 0;
    uid_t uid = 0;
    gid_t gid = 0;              // primary group
    std::vector<gid_t> groups;  // supplementary groups; a user added to a group has it only here

    // Reads SO_PEERCRED and SO_PEERGROUPS of a connected socket; nothing when
    // the kernel will not say.
    static std::optional<PeerCredentials> of(int socket);
};

// Root is admitted, and so is a member of `admittedGroup`, by primary or
// supplementary group. Without a group only root is.
bool isAdmitted(const PeerCredentials& peer, std::optional<gid_t> admittedGroup);

// The id of the group `name`, or nothing when there is none.
std::optional<gid_t> groupID(const std::string& name);

}  // namespace orv
