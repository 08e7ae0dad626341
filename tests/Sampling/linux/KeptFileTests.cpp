#include <gtest/gtest.h>

#include <filesystem>

#include "Sampling/linux/KeptFile.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;

TEST(KeptFile, RereadsTheFileAsItIsNow) {
    TempDir dir;
    auto path = dir.write("proc/meminfo", "MemTotal: 1 kB\n");
    KeptFile file(path);
    ASSERT_TRUE(file.read());
    dir.write("proc/meminfo", "MemTotal: 22 kB\n");
    auto text = file.read();
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "MemTotal: 22 kB\n");
}

TEST(KeptFile, MissingFileIsENOENT) {
    TempDir dir;
    KeptFile file(dir.path() / "proc/missing");
    auto text = file.read();
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error(), std::errc::no_such_file_or_directory);
}

TEST(KeptFile, FileThatAppearsLaterIsOpenedAtTheNextRead) {
    TempDir dir;
    KeptFile file(dir.path() / "proc/pressure/memory");
    ASSERT_FALSE(file.read());
    dir.write("proc/pressure/memory", "some avg10=0.00\n");
    auto text = file.read();
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "some avg10=0.00\n");
}

}  // namespace
}  // namespace orv
