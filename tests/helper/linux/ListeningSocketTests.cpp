#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "support/ListeningSocket.h"
#include "support/TempDir.h"

namespace orv::test {
namespace {

using namespace std::chrono_literals;

TEST(ListeningSocket, OnlyASocketListeningAtExactlyThePathCounts) {
    const std::string table =
        "Num       RefCount Protocol Flags    Type St Inode Path\n"
        "000000006068752e: 00000003 00000000 00000000 0001 03  1075\n"
        "00000000629153ef: 00000002 00000000 00000000 0001 01 20001 /tmp/a/bound.sock\n"
        "0000000012345678: 00000002 00000000 00010000 0001 01 20002 /tmp/a/helper.sock\n"
        "0000000012345679: 00000002 00000000 00010000 0001 01 20003 @abstract\n"
        "000000001234567a: 00000002\n";
    EXPECT_TRUE(listensAt(table, "/tmp/a/helper.sock"));
    EXPECT_TRUE(listensAt(table, "@abstract"));
    EXPECT_FALSE(listensAt(table, "/tmp/a/bound.sock"));  // bound, not yet listening
    EXPECT_FALSE(listensAt(table, "/tmp/a/helper"));
    EXPECT_FALSE(listensAt(table, "/tmp/a/helper.sock2"));
    EXPECT_FALSE(listensAt(table, ""));
    EXPECT_FALSE(listensAt("", "/tmp/a/helper.sock"));
}

TEST(ListeningSocket, ABoundSocketIsWaitedForUntilItListens) {
    TempDir dir;
    const std::string path = (dir.path() / "s.sock").string();
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_FALSE(waitUntilListening(path, 50ms));
    ASSERT_EQ(::listen(fd, 4), 0);
    EXPECT_TRUE(waitUntilListening(path, 5s));
    ::close(fd);
}

}  // namespace
}  // namespace orv::test
