#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace orv::cli {

// The manual page and the shell completion, written from the command's own
// definition (its subcommands, options and their help texts), so that
// neither can drift from what the command accepts. The build runs
// `orvantine --manual-page` and `orvantine --bash-completion` (options it
// hides from --help) and installs what they print.
struct ManualPage {
    // The page in man(7) roff: NAME, SYNOPSIS, DESCRIPTION, COMMANDS with
    // each one's options, FILES, ENVIRONMENT, EXIT STATUS.
    static std::string roff(const CLI::App& app, const std::string& version);

    // A bash completion script for the commands and each one's options.
    static std::string bashCompletion(const CLI::App& app);

    // A text as roff reads it literally: backslashes doubled, a leading
    // period or apostrophe guarded, hyphens in option names as \-.
    static std::string escape(const std::string& text);
};

}  // namespace orv::cli
