// `orvantine system --json`, run as the user runs it: one SystemSample
// record in the one JSON form every record has.
#include <gtest/gtest.h>

#include <string>

#include "core/JsonCoding.h"
#include "core/SystemSample.h"
#include "support/CommandRunner.h"

namespace orv {
namespace {

using test::runOrvantine;

class SystemJsonCommand : public test::OrvantineCommandTest {};

TEST_F(SystemJsonCommand, PrintsOneSystemSampleThatDecodesAndEncodesBackAlike) {
    auto result = runOrvantine("system --interval 0.05 --json");
    ASSERT_EQ(result.status, 0) << result.err;
    ASSERT_FALSE(result.out.empty());
    EXPECT_EQ(result.out.back(), '\n');
    std::string line = result.out.substr(0, result.out.size() - 1);
    EXPECT_EQ(line.find('\n'), std::string::npos) << "one line";
    SystemSample sample;
    ASSERT_NO_THROW(sample = json::decode<SystemSample>(line)) << line;
    EXPECT_EQ(json::encode(sample), line);
}

TEST_F(SystemJsonCommand, TheRecordCarriesThisMachinesFigures) {
    auto result = runOrvantine("system --interval 0.05 --json");
    ASSERT_EQ(result.status, 0) << result.err;
    auto sample = json::decode<SystemSample>(result.out);
    EXPECT_GT(sample.uptime, Duration::zero());
    EXPECT_GT(sample.memory.totalBytes, 0u);
    EXPECT_FALSE(sample.cpu.perCorePercent.empty());
}

}  // namespace
}  // namespace orv
