// `orvantine processes --helper`, run as the user runs it, on a machine
// where no helper answers at the built-in socket: the command falls back
// to its own pass without a word, unless asked to say which source answered.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "core/JsonCoding.h"
#include "support/CommandRunner.h"
#include "core/ProcessReading.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using test::runOrvantine;


class ProcessesHelperFlag : public test::OrvantineCommandTest {
protected:
    void SetUp() override {
        OrvantineCommandTest::SetUp();
        if (IsSkipped()) return;
        if (std::filesystem::exists("/run/orvantine/helper.sock")) {
            GTEST_SKIP() << "a helper is installed here; these tests need one that does not answer";
        }
    }
};

TEST_F(ProcessesHelperFlag, FallsBackSilentlyToTheLocalPass) {
    auto result = runOrvantine("processes --helper --json");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    auto readings = json::decode<std::vector<ProcessReading>>(result.out);
    EXPECT_FALSE(readings.empty());
}

TEST_F(ProcessesHelperFlag, VerboseSaysTheLocalPassAnswered) {
    auto result = runOrvantine("processes --helper --verbose --json");
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.err.find("orvantine: readings from the local pass (the helper did not answer)\n"), std::string::npos)
        << result.err;
}

TEST_F(ProcessesHelperFlag, WithoutHelperVerboseSaysLocal) {
    auto result = runOrvantine("processes --verbose --json");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "orvantine: readings from the local pass\n");
}

}  // namespace
}  // namespace orv
