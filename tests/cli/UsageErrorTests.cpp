// How the command answers a wrong command line, and the manual and
// completion it writes of itself.
#include <gtest/gtest.h>

#include <string>

#include "cli/ManualPage.h"
#include "support/CommandRunner.h"

namespace orv {
namespace {

using test::runOrvantine;

class UsageErrors : public test::OrvantineCommandTest {};

TEST_F(UsageErrors, AnUnknownCommandIsNamedAndExitsTwo) {
    auto result = runOrvantine("bogus");
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("bogus"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("A subcommand is required"), std::string::npos) << result.err;
}

TEST_F(UsageErrors, NoCommandExitsTwo) {
    auto result = runOrvantine("");
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("command"), std::string::npos) << result.err;
}

TEST_F(UsageErrors, AnUnknownOptionExitsTwo) {
    auto result = runOrvantine("processes --bogus");
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("--bogus"), std::string::npos) << result.err;
}

TEST_F(UsageErrors, ANaNIntervalIsRefusedLikeAnyOutOfRangeValue) {
    for (const char* value : {"nan", "NaN", "inf", "-1", "0"}) {
        auto result = runOrvantine(std::string("system --interval ") + value);
        EXPECT_EQ(result.status, 2) << value;
        EXPECT_NE(result.err.find("--interval"), std::string::npos) << result.err;
    }
}

TEST_F(UsageErrors, HelpAndVersionExitZero) {
    EXPECT_EQ(runOrvantine("--help").status, 0);
    EXPECT_EQ(runOrvantine("system --help").status, 0);
    EXPECT_EQ(runOrvantine("--version").status, 0);
}

TEST_F(UsageErrors, TheManualListsEveryCommandAndItsOptions) {
    auto result = runOrvantine("--manual-page");
    ASSERT_EQ(result.status, 0) << result.err;
    const std::string& page = result.out;
    EXPECT_EQ(page.rfind(".TH ORVANTINE 1", 0), 0u);
    for (const char* section : {".SH NAME", ".SH SYNOPSIS", ".SH COMMANDS", ".SH FILES", ".SH ENVIRONMENT",
                                ".SH EXIT STATUS"}) {
        EXPECT_NE(page.find(section), std::string::npos) << section;
    }
    for (const char* command : {".SS top", ".SS snapshot", ".SS processes", ".SS system", ".SS record", ".SS history",
                                ".SS devservers", ".SS stop", ".SS ports"}) {
        EXPECT_NE(page.find(command), std::string::npos) << command;
    }
    EXPECT_NE(page.find("\\-\\-interval"), std::string::npos);
    // Not listed in --help: they are for the build.
    EXPECT_EQ(runOrvantine("--help").out.find("manual-page"), std::string::npos);
}

TEST_F(UsageErrors, ManRendersThePageWithoutWarnings) {
    if (std::system("command -v man >/dev/null 2>&1 && command -v groff >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "man and groff are not installed";
    }
    auto result = test::runOrvantine("--manual-page > /tmp/orvantine-test.1 && MANWIDTH=80 man --warnings -l /tmp/orvantine-test.1 2>&1 >/dev/null; rm -f /tmp/orvantine-test.1");
    EXPECT_EQ(result.out, "");
}

TEST_F(UsageErrors, BashCompletesCommandsAndTheirOptions) {
    auto result = runOrvantine("--bash-completion");
    ASSERT_EQ(result.status, 0) << result.err;
    const std::string script = result.out;
    auto complete = [&](const std::string& line, int word) {
        return test::runOrvantine("--bash-completion > /tmp/orvantine-completion.bash; bash -c 'source "
                                  "/tmp/orvantine-completion.bash; COMP_WORDS=(" + line + "); COMP_CWORD=" +
                                  std::to_string(word) + "; _orvantine; echo \"${COMPREPLY[*]}\"'")
            .out;
    };
    EXPECT_EQ(complete("orvantine sn", 1), "snapshot\n");
    EXPECT_NE(complete("orvantine top --in", 2).find("--interval"), std::string::npos);
    EXPECT_NE(script.find("complete -F _orvantine orvantine"), std::string::npos);
}

TEST(ManualPage, EscapesWhatRoffWouldRead) {
    EXPECT_EQ(cli::ManualPage::escape("a\\b"), "a\\\\b");
    EXPECT_EQ(cli::ManualPage::escape("--json"), "\\-\\-json");
    EXPECT_EQ(cli::ManualPage::escape(".hidden"), "\\&.hidden");
    EXPECT_EQ(cli::ManualPage::escape("'quoted"), "\\&'quoted");
}

}  // namespace
}  // namespace orv
