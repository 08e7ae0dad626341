// `orvantine --version`.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "cli/Version.h"
#include "support/CommandRunner.h"

namespace orv {
namespace {

using test::runOrvantine;

class VersionCommand : public test::OrvantineCommandTest {};

TEST_F(VersionCommand, PrintsTheProgramAndItsVersion) {
    auto result = runOrvantine("--version");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "orvantine 0.9.0\n");
}

// The constant is the project's version, as the top CMakeLists.txt sets it.
TEST(Version, IsTheProjectVersion) {
    auto lists = std::filesystem::path(ORVANTINE_FIXTURES).parent_path().parent_path() / "CMakeLists.txt";
    std::ifstream in(lists);
    ASSERT_TRUE(in) << lists;
    std::stringstream text;
    text << in.rdbuf();
    std::smatch found;
    std::string contents = text.str();
    ASSERT_TRUE(std::regex_search(contents, found, std::regex(R"(project\(Orvantine VERSION ([0-9.]+))")));
    EXPECT_EQ(std::string(cli::version), found[1].str());
}

}  // namespace
}  // namespace orv
