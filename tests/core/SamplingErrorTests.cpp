#include <gtest/gtest.h>

#include <cerrno>

#include "core/SamplingError.h"

namespace orv {
namespace {

TEST(SamplingError, KernelDescriptionIsTheReturnCode) {
    EXPECT_EQ(SamplingError::kernel(5).description(), "kernel(5)");
    EXPECT_STREQ(SamplingError::kernel(-1).what(), "kernel(-1)");
}

TEST(SamplingError, SysctlDescriptionNamesTheSysctlAndErrno) {
    EXPECT_EQ(SamplingError::sysctl("hw.memsize", 22).description(), "sysctl(name: \"hw.memsize\", errno: 22)");
}

TEST(SamplingError, FileReadDescriptionNamesThePathAndExplainsTheErrno) {
    EXPECT_EQ(SamplingError::fileRead("/proc/stat", ENOENT).description(),
              "fileRead(path: \"/proc/stat\", errno: " + std::to_string(ENOENT) + ": No such file or directory)");
}

TEST(SamplingError, NetlinkDescriptionNamesTheRequestAndExplainsTheErrno) {
    EXPECT_EQ(SamplingError::netlink("RTM_GETLINK", EPERM).description(),
              "netlink(request: \"RTM_GETLINK\", errno: " + std::to_string(EPERM) + ": Operation not permitted)");
}

TEST(SamplingError, EqualWhenCaseAndPayloadsAreEqual) {
    EXPECT_EQ(SamplingError::fileRead("/proc/meminfo", 2), SamplingError::fileRead("/proc/meminfo", 2));
    EXPECT_EQ(SamplingError::netlink("RTM_GETROUTE", 13), SamplingError::netlink("RTM_GETROUTE", 13));
    EXPECT_NE(SamplingError::fileRead("/proc/meminfo", 2), SamplingError::fileRead("/proc/meminfo", 13));
    EXPECT_NE(SamplingError::fileRead("/proc/meminfo", 2), SamplingError::fileRead("/proc/stat", 2));
    EXPECT_NE(SamplingError::netlink("RTM_GETLINK", 13), SamplingError::netlink("RTM_GETSTATS", 13));
}

TEST(SamplingError, SameNameAndErrnoInAnotherCaseIsAnotherError) {
    EXPECT_NE(SamplingError::sysctl("proc/stat", 2), SamplingError::fileRead("proc/stat", 2));
    EXPECT_NE(SamplingError::fileRead("RTM_GETLINK", 1), SamplingError::netlink("RTM_GETLINK", 1));
    EXPECT_NE(SamplingError::kernel(2), SamplingError::sysctl("", 2));
}

}  // namespace
}  // namespace orv
