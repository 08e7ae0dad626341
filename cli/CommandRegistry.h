#pragma once

#include <CLI/CLI.hpp>
#include <functional>

namespace orv::cli {

// Each command's file registers itself with a static CommandRegistration,
// so adding a command touches only its own file. `order` sets the order of
// the help listing.
struct CommandRegistration {
    using Install = std::function<void(CLI::App&)>;
    CommandRegistration(int order, Install install);
};

void installCommands(CLI::App& app);

// A number of seconds from `low` to `high`: what CLI::Range checks, and a
// NaN refused too (every comparison with it is false, so a plain range lets
// it through).
CLI::Validator secondsBetween(double low, double high);

}  // namespace orv::cli
