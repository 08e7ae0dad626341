#include <gtest/gtest.h>

#include <grp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "helper/linux/PeerCredentials.h"

namespace orv {
namespace {

PeerCredentials peer(uid_t uid, gid_t gid, std::vector<gid_t> groups = {}) {
    PeerCredentials p;
    p.uid = uid;
    p.gid = gid;
    p.groups = std::move(groups);
    return p;
}

TEST(PeerAdmission, RootIsAdmitted) {
    EXPECT_TRUE(isAdmitted(peer(0, 0), gid_t(990)));
    EXPECT_TRUE(isAdmitted(peer(0, 0), std::nullopt));
}

TEST(PeerAdmission, PrimaryGroupMemberIsAdmitted) { EXPECT_TRUE(isAdmitted(peer(1000, 990), gid_t(990))); }

TEST(PeerAdmission, SupplementaryGroupMemberIsAdmitted) {
    EXPECT_TRUE(isAdmitted(peer(1000, 1000, {27, 990, 100}), gid_t(990)));
}

TEST(PeerAdmission, OutsiderIsRefused) {
    EXPECT_FALSE(isAdmitted(peer(1000, 1000, {27, 100}), gid_t(990)));
    EXPECT_FALSE(isAdmitted(peer(65534, 65534), gid_t(990)));
}

TEST(PeerAdmission, WithoutAGroupOnlyRootIsAdmitted) {
    EXPECT_FALSE(isAdmitted(peer(1000, 990, {990}), std::nullopt));
}

TEST(PeerCredentials, ReadsOurOwnCredentialsOverASocketPair) {
    int fds[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    auto creds = PeerCredentials::of(fds[0]);
    ::close(fds[0]);
    ::close(fds[1]);
    ASSERT_TRUE(creds.has_value());
    EXPECT_EQ(creds->pid, ::getpid());
    EXPECT_EQ(creds->uid, ::geteuid());
    EXPECT_EQ(creds->gid, ::getegid());
    std::vector<gid_t> ours(size_t(::getgroups(0, nullptr)));
    ours.resize(size_t(::getgroups(int(ours.size()), ours.data())));
    std::sort(ours.begin(), ours.end());
    auto theirs = creds->groups;
    std::sort(theirs.begin(), theirs.end());
    EXPECT_EQ(theirs, ours);
}

TEST(PeerCredentials, NotASocketGivesNothing) {
    int fds[2];
    ASSERT_EQ(::pipe(fds), 0);
    EXPECT_FALSE(PeerCredentials::of(fds[0]).has_value());
    ::close(fds[0]);
    ::close(fds[1]);
}

TEST(PeerCredentials, GroupIDOfRootIsZero) {
    EXPECT_EQ(groupID("root"), std::optional<gid_t>(0));
    EXPECT_FALSE(groupID("no-such-group-orvantine").has_value());
}

}  // namespace
}  // namespace orv
