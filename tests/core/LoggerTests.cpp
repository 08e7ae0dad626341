#include <gtest/gtest.h>

#include "core/CapturingLogSink.h"
#include "core/Logger.h"

namespace orv {
namespace {

TEST(Logger, CapturedLinesKeepSubsystemCategoryLevelAndText) {
    ScopedLogCapture capture;
    Logger("app.orvantine.helper", "helper").error("Helper built without a team ID; refusing to serve");
    Logger("app.orvantine.sampling", "sampling").notice("second");
    auto entries = capture.sink().entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0], (CapturingLogSink::Entry{"app.orvantine.helper", "helper", LogLevel::error,
                                                   "Helper built without a team ID; refusing to serve"}));
    EXPECT_EQ(entries[1].category, "sampling");
    EXPECT_EQ(capture.sink().count("second"), 1u);
}

TEST(Logger, CaptureEndsWithItsScope) {
    std::shared_ptr<LogSink> before = LogSink::current();
    {
        ScopedLogCapture capture;
        EXPECT_NE(LogSink::current(), before);
    }
    EXPECT_EQ(LogSink::current(), before);
}

}  // namespace
}  // namespace orv
