// When proc is listed again and when the last pass's pids stand.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include "Sampling/linux/ProcPidLister.h"
#include "support/ProcFixture.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;

struct Listing {
    TempDir root;
    FileDescriptor proc;
    ProcReadCounts counts;
    std::optional<ProcPidLister> lister;

    explicit Listing(const char* loadavg) {
        test::proc::writeInit(root);
        test::proc::writeProcess(root, 42, "p", 'S', 1, 0, 0, 1);
        root.write("proc/self", "not a process");
        if (loadavg) root.write("proc/loadavg", loadavg);
        proc.reset(::open((root.path() / "proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        lister.emplace(proc.get(), counts);
    }
    std::vector<int32_t> list(const std::vector<int32_t>& last, bool checking = false) {
        return lister->list(last, checking);
    }
};

TEST(ProcPidLister, ListsTheNumberedEntriesInOrder) {
    Listing listing(nullptr);
    test::proc::writeProcess(listing.root, 7, "early", 'S', 1, 0, 0, 1);
    EXPECT_EQ(listing.list({}), (std::vector<int32_t>{1, 7, 42}));
    EXPECT_EQ(listing.counts.listings, 1u);
}

TEST(ProcPidLister, StillLoadavgKeepsTheLastPassesPids) {
    Listing listing("0.10 0.20 0.30 1/120 4242\n");
    EXPECT_TRUE(listing.lister->trustsLoadavg());
    listing.list({});
    EXPECT_EQ(listing.list({1}), (std::vector<int32_t>{1}));  // 42 exited, say
    EXPECT_EQ(listing.counts.listings, 1u);
}

TEST(ProcPidLister, PidHandedOutListsAgain) {
    Listing listing("0.10 0.20 0.30 1/120 4242\n");
    listing.list({});
    listing.root.write("proc/loadavg", "0.10 0.20 0.30 1/121 4243\n");
    EXPECT_EQ(listing.list({1, 42}), (std::vector<int32_t>{1, 42}));
    EXPECT_EQ(listing.counts.listings, 2u);
}

TEST(ProcPidLister, CheckListsThoughLoadavgStoodStill) {
    Listing listing("0.10 0.20 0.30 1/120 4242\n");
    listing.list({});
    EXPECT_EQ(listing.list({1, 42}, true), (std::vector<int32_t>{1, 42}));
    EXPECT_EQ(listing.counts.listings, 2u);
    EXPECT_TRUE(listing.lister->trustsLoadavg());  // it was right
}

TEST(ProcPidLister, LoadavgThatStoodStillWhileAProcessAppearedIsDropped) {
    Listing listing("0.10 0.20 0.30 1/120 4242\n");
    listing.list({});
    test::proc::writeProcess(listing.root, 50, "unannounced", 'S', 1, 0, 0, 1);
    EXPECT_EQ(listing.list({1, 42}, true), (std::vector<int32_t>{1, 42, 50}));
    EXPECT_FALSE(listing.lister->trustsLoadavg());
    listing.list({1, 42, 50});
    EXPECT_EQ(listing.counts.listings, 3u);
}

TEST(ProcPidLister, LoadavgWithNoPidHandedOutListsEveryTime) {
    Listing listing("0.00 0.00 0.00 0/0 0\n");
    listing.list({});
    listing.list({1, 42});
    EXPECT_EQ(listing.counts.listings, 2u);
}

}  // namespace
}  // namespace orv
