#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "Sampling/ProcessTablePort.h"
#include "cli/CommandRegistry.h"
#include "cli/Version.h"

int main(int argc, char** argv) {
    // Before any thread starts: the process table keeps thousands of
    // descriptors.
    orv::prepareProcessTable();
    CLI::App app{"orvantine: what this machine is doing, process by process"};
    app.set_version_flag("--version", "orvantine " + std::string(orv::cli::version));
    app.require_subcommand(1);
    orv::cli::installCommands(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "orvantine: %s\n", e.what());
        return 1;
    }
    return 0;
}
