#include <gtest/gtest.h>

#include "PrivateAPIs/ResponsiblePID.h"
#include "core/CapturingLogSink.h"

namespace orv {
namespace {

constexpr const char* missingLine = "responsibility_get_pid_responsible_for_pid unavailable; using the ppid walk";

int32_t answersZero(int32_t) { return 0; }
int32_t answersMinusOne(int32_t) { return -1; }
int32_t answersItself(int32_t pid) { return pid; }
int32_t answersLaunchd(int32_t) { return 1; }

ResponsiblePIDResolver resolverWith(ResponsiblePIDResolver::Function f) {
    return ResponsiblePIDResolver([f](const char* name) -> void* {
        EXPECT_STREQ(name, "responsibility_get_pid_responsible_for_pid");
        return reinterpret_cast<void*>(f);
    });
}

TEST(ResponsiblePID, MissingSymbolLogsOnceHoweverManyLookups) {
    ScopedLogCapture capture;
    ResponsiblePIDResolver resolver([](const char*) -> void* { return nullptr; });
    for (int i = 0; i < 100; ++i) EXPECT_EQ(resolver.lookup(100 + i), std::nullopt);
    EXPECT_FALSE(resolver.isAvailable());
    ASSERT_EQ(capture.sink().entries().size(), 1u);
    auto entry = capture.sink().entries().front();
    EXPECT_EQ(entry.message, missingLine);
    EXPECT_EQ(entry.subsystem, "app.orvantine.privateapis");
    EXPECT_EQ(entry.category, "responsibility");
}

TEST(ResponsiblePID, ZeroOrNegativeAnswersAreNothing) {
    auto zero = resolverWith(answersZero);
    auto negative = resolverWith(answersMinusOne);
    EXPECT_EQ(zero.lookup(500), std::nullopt);
    EXPECT_EQ(negative.lookup(500), std::nullopt);
    EXPECT_TRUE(zero.isAvailable());
}

TEST(ResponsiblePID, AProcessResponsibleForItselfIsReturned) {
    auto resolver = resolverWith(answersItself);
    EXPECT_EQ(resolver.lookup(777), 777);
}

TEST(ResponsiblePID, AnotherProcessIsReturned) {
    ScopedLogCapture capture;
    auto resolver = resolverWith(answersLaunchd);
    EXPECT_EQ(resolver.lookup(777), 1);
    EXPECT_TRUE(capture.messages().empty());
}

}  // namespace
}  // namespace orv
