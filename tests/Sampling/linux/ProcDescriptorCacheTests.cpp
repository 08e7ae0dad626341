// The descriptors kept between passes and their budget.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "Sampling/linux/ProcDescriptorCache.h"
#include "support/ProcFixture.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;
using File = ProcDescriptorCache::File;

struct ProcTree {
    TempDir root;
    FileDescriptor proc;
    int opens = 0;
    ProcTree() {
        test::proc::writeProcess(root, 42, "p", 'S', 1, 0, 0, 1);
        test::proc::writeProcess(root, 43, "q", 'S', 1, 0, 0, 1);
        proc.reset(::open((root.path() / "proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    ProcDescriptorCache cache(size_t budget) {
        return ProcDescriptorCache(proc.get(), budget, [this](int dir, const char* path) {
            ++opens;
            return ::openat(dir, path, O_RDONLY | O_CLOEXEC);
        });
    }
};

TEST(ProcDescriptorCache, ReadsAFileOfAProcess) {
    ProcTree tree;
    auto cache = tree.cache(8);
    ProcDescriptorCache::Files files;
    char buffer[256];
    auto text = cache.read(42, files, File::schedstat, buffer);
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "123456 789 42\n");
}

TEST(ProcDescriptorCache, KeptFileIsReadAgainWithoutOpening) {
    ProcTree tree;
    auto cache = tree.cache(8);
    ProcDescriptorCache::Files files;
    char buffer[256];
    ASSERT_TRUE(cache.read(42, files, File::schedstat, buffer));
    tree.root.write("proc/42/schedstat", "923456 789 45\n");  // rewritten in place, as the kernel does
    auto text = cache.read(42, files, File::schedstat, buffer);
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "923456 789 45\n");
    EXPECT_EQ(tree.opens, 1);
    EXPECT_EQ(cache.kept(), 1u);
}

TEST(ProcDescriptorCache, BeyondTheBudgetFilesAreOpenedForEachRead) {
    ProcTree tree;
    auto cache = tree.cache(1);
    ProcDescriptorCache::Files first, second;
    char buffer[256];
    ASSERT_TRUE(cache.read(42, first, File::stat, buffer));
    ASSERT_TRUE(cache.read(43, second, File::stat, buffer));
    ASSERT_TRUE(cache.read(43, second, File::stat, buffer));
    EXPECT_EQ(tree.opens, 3);
    EXPECT_EQ(cache.kept(), 1u);
    EXPECT_TRUE(first.valid(File::stat));
    EXPECT_FALSE(second.valid(File::stat));
}

TEST(ProcDescriptorCache, ClosedFilesGiveTheirPlacesBack) {
    ProcTree tree;
    auto cache = tree.cache(8);
    char buffer[256];
    {
        ProcDescriptorCache::Files files;
        for (auto file : {File::stat, File::statm, File::schedstat, File::io}) {
            ASSERT_TRUE(cache.read(42, files, file, buffer));
        }
        EXPECT_EQ(cache.kept(), 4u);
        files.close(File::io);
        EXPECT_EQ(cache.kept(), 3u);
        files.close(File::io);  // closed already: nothing more to give back
        EXPECT_EQ(cache.kept(), 3u);
        EXPECT_FALSE(files.valid(File::io));
        EXPECT_TRUE(files.valid(File::stat));
        ProcDescriptorCache::Files other;
        ASSERT_TRUE(cache.read(43, other, File::stat, buffer));
        EXPECT_EQ(cache.kept(), 4u);
        files.closeAll();
        EXPECT_EQ(cache.kept(), 1u);
        files.closeAll();
        EXPECT_EQ(cache.kept(), 1u);
    }
    EXPECT_EQ(cache.kept(), 0u);
}

TEST(ProcDescriptorCache, MissingFileIsAnErrorOfItsOwn) {
    ProcTree tree;
    auto cache = tree.cache(8);
    ProcDescriptorCache::Files files;
    char buffer[256];
    auto text = cache.read(41, files, File::stat, buffer);
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error().value(), ENOENT);
    EXPECT_EQ(cache.kept(), 0u);
}

TEST(ProcDescriptorCache, KeepsAnOpenedFileWhileTheBudgetAllows) {
    ProcTree tree;
    auto cache = tree.cache(1);
    auto kept = cache.keep("42/schedstat");
    ASSERT_TRUE(kept.valid());
    char buffer[256];
    auto text = ProcDescriptorCache::reread(kept, buffer);
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "123456 789 42\n");
    EXPECT_FALSE(cache.keep("43/schedstat").valid());  // the budget is spent
    EXPECT_FALSE(cache.keep("44/schedstat").valid());
    kept.reset();
    EXPECT_FALSE(cache.keep("44/schedstat").valid());  // no such file
    EXPECT_EQ(cache.kept(), 0u);
}

}  // namespace
}  // namespace orv
