#include <gtest/gtest.h>

#include <sys/stat.h>

#include "core/LogSink.h"

namespace orv {
namespace {

TEST(PlatformLogSinkLinux, WithoutAJournalLinesGoToStandardError) {
    struct stat st{};
    if (::stat("/run/systemd/journal/socket", &st) == 0) GTEST_SKIP() << "journald runs here; lines go to it";
    auto sink = LogSink::makePlatformSink();
    testing::internal::CaptureStderr();
    sink->write("app.orvantine.sampling", "sampling", LogLevel::notice, "hello from the test");
    std::string out = testing::internal::GetCapturedStderr();
    EXPECT_EQ(out, "app.orvantine.sampling [sampling] notice: hello from the test\n");
}

}  // namespace
}  // namespace orv
