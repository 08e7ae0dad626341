#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Sampling/linux/ProcSocketOwners.h"
#include "core/FileDescriptor.h"
#include "support/TempDir.h"

namespace orv {
namespace {

namespace fs = std::filesystem;

TEST(ProcSocketOwners, ReadsOnlySocketLinks) {
    EXPECT_EQ(ProcSocketOwners::socketInode("socket:[123456]"), 123456u);
    EXPECT_FALSE(ProcSocketOwners::socketInode("pipe:[123]"));
    EXPECT_FALSE(ProcSocketOwners::socketInode("socket:[12"));
    EXPECT_FALSE(ProcSocketOwners::socketInode("socket:[]"));
    EXPECT_FALSE(ProcSocketOwners::socketInode("socket:[-1]"));
    EXPECT_FALSE(ProcSocketOwners::socketInode("/home/u/socket:[1]"));
}

// A fixture tree whose fd folders hold links as the kernel writes them.
class ProcSocketOwnersFixture : public ::testing::Test {
protected:
    void link(int32_t pid, int fd, const std::string& target) {
        const auto folder = dir.path() / "proc" / std::to_string(pid) / "fd";
        fs::create_directories(folder);
        fs::create_symlink(target, folder / std::to_string(fd));
    }
    test::TempDir dir;
};

TEST_F(ProcSocketOwnersFixture, FindsTheFirstHolderOfEachWantedInodeAndPassesOverUnreadableFolders) {
    link(10, 0, "/dev/null");
    link(10, 3, "socket:[111]");
    link(20, 4, "socket:[111]");  // inherited by a child
    link(20, 5, "socket:[222]");
    link(20, 6, "pipe:[333]");
    ProcSocketOwners owners(dir.path());
    const int32_t pids[] = {99, 10, 20};  // 99 has no folder: gone
    auto found = owners.owners({111, 222, 444}, pids);
    EXPECT_EQ(found.size(), 2u);
    EXPECT_EQ(found.at(111), 10);
    EXPECT_EQ(found.at(222), 20);
    EXPECT_EQ(owners.socketsOf(20), (std::unordered_set<uint64_t>{111, 222}));
    EXPECT_FALSE(owners.socketsOf(99));
}

TEST_F(ProcSocketOwnersFixture, StopsReadingOnceEveryInodeIsFound) {
    link(10, 3, "socket:[111]");
    ProcSocketOwners owners(dir.path());
    // 20's folder is unreadable garbage (a file, not a folder): never reached.
    fs::create_directories(dir.path() / "proc/20");
    { std::ofstream(dir.path() / "proc/20/fd") << "x"; }
    const int32_t pids[] = {10, 20};
    EXPECT_EQ(owners.owners({111}, pids).at(111), 10);
    EXPECT_TRUE(owners.owners({}, pids).empty());
}

TEST(ProcSocketOwnersLive, FindsOurOwnSocket) {
    FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    struct stat info {};
    ASSERT_EQ(::fstat(socket.get(), &info), 0);
    ProcSocketOwners owners("/");
    const int32_t pids[] = {int32_t(::getpid())};
    auto found = owners.owners({uint64_t(info.st_ino)}, pids);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found.begin()->second, ::getpid());
}

}  // namespace
}  // namespace orv
