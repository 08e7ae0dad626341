#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "Sampling/ProcessTablePort.h"
#include "cli/CommandRegistry.h"
#include "cli/ManualPage.h"
#include "cli/ProcessHeap.h"
#include "cli/Version.h"

namespace {

// Usage errors end with status 2, as the tools around it do.
constexpr int usageError = 2;

}  // namespace

int main(int argc, char** argv) {
    // Before any thread starts, as below.
    orv::cli::prepareProcessHeap();
    // Before any thread starts: the process table keeps thousands of
    // descriptors.
    orv::prepareProcessTable();
    CLI::App app{"orvantine: what this machine is doing, process by process"};
    app.set_version_flag("--version", "orvantine " + std::string(orv::cli::version));
    orv::cli::installCommands(app);
    // For the build, which installs what they print; not in --help.
    bool manualPage = false, bashCompletion = false;
    app.add_flag("--manual-page", manualPage)->group("");
    app.add_flag("--bash-completion", bashCompletion)->group("");
    app.require_subcommand(0, 1);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int status = app.exit(e);
        // A command's own failure (CLI::RuntimeError) keeps its status.
        if (dynamic_cast<const CLI::RuntimeError*>(&e) != nullptr) return status;
        return status == 0 ? 0 : usageError;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "orvantine: %s\n", e.what());
        return 1;
    }
    if (manualPage) {
        std::fputs(orv::cli::ManualPage::roff(app, std::string(orv::cli::version)).c_str(), stdout);
        return 0;
    }
    if (bashCompletion) {
        std::fputs(orv::cli::ManualPage::bashCompletion(app).c_str(), stdout);
        return 0;
    }
    if (app.get_subcommands().empty()) {
        // What was typed where a command belongs, named: "bogus" is not a
        // command, rather than that a command is missing.
        const auto extras = app.remaining();
        if (!extras.empty()) {
            std::fprintf(stderr, "orvantine: '%s' is not a command; run orvantine --help for the commands\n",
                         extras.front().c_str());
        } else {
            std::fprintf(stderr, "orvantine: a command is required; run orvantine --help for the commands\n");
        }
        return usageError;
    }
    return 0;
}
