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
#include "core/ProcessReading.h"
#include "support/TempDir.h"

namespace orv {
namespace {

std::filesystem::path program() { return std::filesystem::path(ORVANTINE_BINARY_DIR) / "cli" / "orvantine"; }

struct Run {
    int status = -1;
    std::string out;
    std::string err;
};

Run run(const std::string& arguments) {
    test::TempDir dir;
    const auto errPath = dir.path() / "stderr";
    Run result;
    std::string command = program().string() + " " + arguments + " 2>" + errPath.string();
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return result;
    std::array<char, 65536> buffer{};
    size_t n = 0;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) result.out.append(buffer.data(), n);
    int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream in(errPath);
    std::stringstream s;
    s << in.rdbuf();
    result.err = s.str();
    return result;
}

class ProcessesHelperFlag : public ::testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(program())) GTEST_SKIP() << "the orvantine program is not built at " << program();
        if (std::filesystem::exists("/run/orvantine/helper.sock")) {
            GTEST_SKIP() << "a helper is installed here; these tests need one that does not answer";
        }
    }
};

TEST_F(ProcessesHelperFlag, FallsBackSilentlyToTheLocalPass) {
    auto result = run("processes --helper --json");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    auto readings = json::decode<std::vector<ProcessReading>>(result.out);
    EXPECT_FALSE(readings.empty());
}

TEST_F(ProcessesHelperFlag, VerboseSaysTheLocalPassAnswered) {
    auto result = run("processes --helper --verbose --json");
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.err.find("orvantine: readings from the local pass (the helper did not answer)\n"), std::string::npos)
        << result.err;
}

TEST_F(ProcessesHelperFlag, WithoutHelperVerboseSaysLocal) {
    auto result = run("processes --verbose --json");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "orvantine: readings from the local pass\n");
}

}  // namespace
}  // namespace orv
