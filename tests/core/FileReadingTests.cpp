#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "core/FileDescriptor.h"
#include "core/FileReading.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::TempDir;

TEST(FileReading, ReadsAWholeSmallFile) {
    TempDir dir;
    auto text = FileReading::readSmallFile(dir.write("a", "MemTotal: 1 kB\n"));
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "MemTotal: 1 kB\n");
}

TEST(FileReading, EmptyFileReadsAsEmpty) {
    TempDir dir;
    auto text = FileReading::readSmallFile(dir.write("empty", ""));
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "");
}

TEST(FileReading, MissingFileIsENOENT) {
    TempDir dir;
    auto text = FileReading::readSmallFile(dir.path() / "missing");
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error(), std::errc::no_such_file_or_directory);
}

TEST(FileReading, DirectoryIsEISDIR) {
    TempDir dir;
    auto text = FileReading::readSmallFile(dir.mkdir("folder"));
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error(), std::errc::is_a_directory);
}

TEST(FileReading, FileLargerThanOneChunkIsReadWhole) {
    TempDir dir;
    std::string large(1 << 20, 'x');
    for (size_t i = 0; i < large.size(); i += 4099) large[i] = char('a' + i % 26);
    auto text = FileReading::readSmallFile(dir.write("large", large));
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, large);
}

TEST(FileReading, LimitStopsTheRead) {
    TempDir dir;
    auto text = FileReading::readSmallFile(dir.write("long", std::string(10000, 'x')), 5000);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), 5000u);
}

TEST(FileReading, FifoReadsAsEmptyInsteadOfHanging) {
    TempDir dir;
    auto path = dir.path() / "fifo";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    auto text = FileReading::readSmallFile(path);
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "");
}

TEST(FileReading, ReadsBelowAnOpenDirectory) {
    TempDir dir;
    dir.write("proc/1/stat", "1 (init) S");
    FileDescriptor proc(::open((dir.path() / "proc").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    auto text = FileReading::readSmallFileAt(proc.get(), "1/stat");
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, "1 (init) S");
}

TEST(FileReading, MissingFileBelowADirectoryIsENOENT) {
    TempDir dir;
    FileDescriptor root(::open(dir.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    auto text = FileReading::readSmallFileAt(root.get(), "nothing");
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error(), std::errc::no_such_file_or_directory);
}

TEST(FileReading, PreadWholeRereadsFromTheStart) {
    TempDir dir;
    auto path = dir.write("stat", "cpu 1 2 3 4\n");
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string buffer;
    auto first = FileReading::preadWhole(fd.get(), buffer);
    ASSERT_TRUE(first);
    EXPECT_EQ(*first, "cpu 1 2 3 4\n");
    auto second = FileReading::preadWhole(fd.get(), buffer);
    ASSERT_TRUE(second);
    EXPECT_EQ(*second, "cpu 1 2 3 4\n");
}

TEST(FileReading, PreadWholeGrowsTheBufferForALargeFile) {
    TempDir dir;
    std::string large(3 * 4096 + 17, 'y');
    auto path = dir.write("large", large);
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string buffer;
    auto text = FileReading::preadWhole(fd.get(), buffer);
    ASSERT_TRUE(text);
    EXPECT_EQ(*text, large);
    EXPECT_GE(buffer.size(), large.size());
}

TEST(FileReading, PreadWholeOnAClosedDescriptorIsEBADF) {
    std::string buffer;
    auto text = FileReading::preadWhole(-1, buffer);
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error(), std::errc::bad_file_descriptor);
}

}  // namespace
}  // namespace orv
