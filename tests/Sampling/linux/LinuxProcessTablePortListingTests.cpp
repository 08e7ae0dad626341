// When the port lists proc again and when it reads the last pass's pids.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <utility>
#include <span>
#include <vector>

#include "Sampling/ProcessSampler.h"
#include "Sampling/linux/LinuxProcessTablePort.h"
#include "support/ProcFixture.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;
using namespace test::proc;

// init and sleeping children of it, with a loadavg whose last pid is 4242.
void writeSleepers(const TempDir& root, std::initializer_list<std::pair<int32_t, const char*>> children) {
    writeInit(root);
    for (auto [pid, name] : children) writeProcess(root, pid, name, 'S', 1, 0, 0, 1);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/120 4242\n");
}

TEST(LinuxProcessTablePortListing, NoPidHandedOutMeansTheLastPassesPidsAreReadWithoutListing) {
    TempDir root;
    writeInit(root);
    writeProcess(root, 42, "p", 'S', 1, 0, 0, 1);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/120 4242\n");
    CountingSampler counting(fixtureOptions(root));
    auto first = counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);
    auto second = counting.pass();
    EXPECT_EQ(counting.last.listings, 0u);
    EXPECT_EQ(second, first);
    // A new process moves the last pid (and here the thread count).
    writeProcess(root, 4243, "new", 'S', 1, 0, 0, 500);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/121 4243\n");
    auto third = counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);
    EXPECT_NE(find(third, 4243), nullptr);
}

TEST(LinuxProcessTablePortListing, PassAfterTheRowsWereLetGoReadsTheSamePidsWithoutListing) {
    TempDir root;
    writeSleepers(root, {{42, "p"}, {77, "q"}});
    LinuxProcessTablePort port(fixtureOptions(root));
    auto pidsOf = [](std::span<const ProcessTableRow> rows) {
        std::vector<int32_t> pids;
        for (const auto& row : rows) pids.push_back(row.pid);
        return pids;
    };
    auto listed = pidsOf(port.readTable());
    ASSERT_EQ(listed, (std::vector<int32_t>{1, 42, 77}));
    port.finishPass();
    auto before = port.readCounts();
    EXPECT_EQ(pidsOf(port.readTable()), listed);
    EXPECT_EQ((port.readCounts() - before).listings, 0u);
}

TEST(LinuxProcessTablePortListing, ThreadCountAloneMovingListsAgain) {
    // A pid chosen by its creator (a restored process) leaves the last pid.
    TempDir root;
    writeInit(root);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/120 4242\n");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    writeProcess(root, 300, "restored", 'S', 1, 0, 0, 500);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/121 4242\n");
    EXPECT_TRUE(findCopy(counting.pass(), 300).has_value());
    EXPECT_EQ(counting.last.listings, 1u);
}

TEST(LinuxProcessTablePortListing, ProcessThatExitedIsDroppedWithoutListing) {
    TempDir root;
    writeSleepers(root, {{42, "stays"}, {43, "leaves"}});
    auto options = fixtureOptions(root);
    options.descriptorBudget = 1;  // files opened afresh, so a removed one is gone
    CountingSampler counting(options);
    EXPECT_EQ(counting.pass().size(), 3u);
    std::filesystem::remove_all(root.path() / "proc/43");
    auto readings = counting.pass();
    EXPECT_EQ(counting.last.listings, 0u);
    EXPECT_EQ(readings.size(), 2u);
    EXPECT_EQ(find(readings, 43), nullptr);
}

TEST(LinuxProcessTablePortListing, LoadavgFromAnotherFileSystemIsNotTrusted) {
    // As lxcfs mounts its own over a container's proc.
    TempDir root;
    writeInit(root);
    if (::access("/dev/shm", W_OK) != 0) GTEST_SKIP() << "no second file system to mount from";
    struct stat here{}, there{};
    ASSERT_EQ(::stat(root.path().c_str(), &here), 0);
    auto shm = std::filesystem::path("/dev/shm") / ("orvantine-loadavg-" + std::to_string(getpid()));
    { std::ofstream(shm) << "0.10 0.20 0.30 1/120 4242\n"; }
    ASSERT_EQ(::stat(shm.c_str(), &there), 0);
    if (here.st_dev == there.st_dev) {
        std::filesystem::remove(shm);
        GTEST_SKIP() << "the temporary directory is on /dev/shm's file system";
    }
    std::filesystem::create_symlink(shm, root.path() / "proc/loadavg");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    std::filesystem::remove(shm);
    EXPECT_EQ(counting.last.listings, 1u);
}

TEST(LinuxProcessTablePortListing, LoadavgThatStoodStillWhileAProcessAppearedIsNotAskedAgain) {
    TempDir root;
    writeInit(root);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/120 4242\n");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    writeProcess(root, 50, "unannounced", 'S', 1, 0, 0, 100);
    for (int pass = 2; pass < LinuxProcessTablePort::checkEvery; ++pass) counting.pass();
    EXPECT_EQ(counting.last.listings, 0u);
    EXPECT_TRUE(findCopy(counting.pass(), 50).has_value());  // the check lists proc
    counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);  // and every pass from now on
}

TEST(LinuxProcessTablePortListing, LoadavgThatStoodStillAndWasRightIsKept) {
    TempDir root;
    writeInit(root);
    root.write("proc/loadavg", "0.10 0.20 0.30 1/120 4242\n");
    CountingSampler counting(fixtureOptions(root));
    for (int pass = 1; pass <= LinuxProcessTablePort::checkEvery; ++pass) counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);  // the check
    counting.pass();
    EXPECT_EQ(counting.last.listings, 0u);
}

TEST(LinuxProcessTablePortListing, LoadavgWithNoPidHandedOutIsNotTrusted) {
    // What an emulated proc may write.
    TempDir root;
    writeInit(root);
    root.write("proc/loadavg", "0.00 0.00 0.00 0/0 0\n");
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);
}

TEST(LinuxProcessTablePortListing, WithoutLoadavgEveryPassLists) {
    TempDir root;
    writeInit(root);
    CountingSampler counting(fixtureOptions(root));
    counting.pass();
    counting.pass();
    EXPECT_EQ(counting.last.listings, 1u);
    root.write("proc/loadavg", "garbage\n");
    CountingSampler garbled(fixtureOptions(root));
    garbled.pass();
    garbled.pass();
    EXPECT_EQ(garbled.last.listings, 1u);
}

}  // namespace
}  // namespace orv
