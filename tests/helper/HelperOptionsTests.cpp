#include <gtest/gtest.h>

#include "HelperProtocol/HelperBuildConfig.h"
#include "helper/HelperOptions.h"

namespace orv {
namespace {

Result<HelperOptions, std::string> parse(std::vector<std::string_view> args) { return HelperOptions::parse(args); }

TEST(HelperOptions, NoArgumentsGiveTheBuiltInValues) {
    auto options = parse({});
    ASSERT_TRUE(options.has_value());
    EXPECT_EQ(options->socketPath, HelperBuildConfig::socketPath);
    EXPECT_EQ(options->admittedGroup, HelperBuildConfig::admittedGroup);
    EXPECT_EQ(options->socketMode, 0660u);
    EXPECT_EQ(options->startupLimit, Duration::seconds(30));
    EXPECT_EQ(options->idleLimit, Duration::seconds(10));
}

TEST(HelperOptions, TestsCanMoveTheSocketAndShortenTheLimits) {
    auto options = parse({"--socket", "/tmp/x.sock", "--group", "staff", "--socket-mode", "0666", "--startup-seconds",
                          "1.5", "--idle-seconds", "0.25"});
    ASSERT_TRUE(options.has_value());
    EXPECT_EQ(options->socketPath, "/tmp/x.sock");
    EXPECT_EQ(options->admittedGroup, "staff");
    EXPECT_EQ(options->socketMode, 0666u);
    EXPECT_EQ(options->startupLimit, Duration::milliseconds(1500));
    EXPECT_EQ(options->idleLimit, Duration::milliseconds(250));
}

TEST(HelperOptions, UnknownOptionIsRefused) {
    auto options = parse({"--verbose", "1"});
    ASSERT_FALSE(options.has_value());
    EXPECT_EQ(options.error(), "unknown option --verbose");
}

TEST(HelperOptions, MissingOrBadValuesAreRefused) {
    auto missing = parse({"--socket"});
    ASSERT_FALSE(missing.has_value());
    EXPECT_EQ(missing.error(), "missing value after --socket");
    EXPECT_FALSE(parse({"--idle-seconds", "-1"}).has_value());
    EXPECT_FALSE(parse({"--idle-seconds", "ten"}).has_value());
    EXPECT_FALSE(parse({"--socket-mode", "0999"}).has_value());
    EXPECT_FALSE(parse({"--socket-mode", "1777"}).has_value());
}

}  // namespace
}  // namespace orv
