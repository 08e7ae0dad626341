#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "Sampling/linux/ProcPath.h"

namespace orv {
namespace {

TEST(ProcPath, NamesAProcessDirectory) {
    ProcPath path(42);
    EXPECT_TRUE(path.valid());
    EXPECT_STREQ(path.c_str(), "42");
}

TEST(ProcPath, NamesAFileOfAProcess) {
    EXPECT_STREQ(ProcPath(4194304, "schedstat").c_str(), "4194304/schedstat");
}

TEST(ProcPath, NamesAFileOfAThread) {
    EXPECT_STREQ(ProcPath(42, 43, "schedstat").c_str(), "42/task/43/schedstat");
}

TEST(ProcPath, LargestNumbersFit) {
    constexpr int32_t largest = std::numeric_limits<int32_t>::max();
    ProcPath path(largest, largest, "schedstat");
    EXPECT_TRUE(path.valid());
    EXPECT_EQ(path.view(), "2147483647/task/2147483647/schedstat");
}

TEST(ProcPath, NameThatDoesNotFitIsAnEmptyPathThatIsNotValid) {
    ProcPath path(42, std::string(80, 'x'));
    EXPECT_FALSE(path.valid());
    EXPECT_STREQ(path.c_str(), "");
}

}  // namespace
}  // namespace orv
