#include "cli/CommandRegistry.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace orv::cli {

namespace {
std::vector<std::pair<int, CommandRegistration::Install>>& registry() {
    static std::vector<std::pair<int, CommandRegistration::Install>> commands;
    return commands;
}
}  // namespace

CommandRegistration::CommandRegistration(int order, Install install) {
    registry().emplace_back(order, std::move(install));
}

void installCommands(CLI::App& app) {
    auto& commands = registry();
    std::stable_sort(commands.begin(), commands.end(), [](auto& a, auto& b) { return a.first < b.first; });
    for (auto& [order, install] : commands) install(app);
}

CLI::Validator secondsBetween(double low, double high) {
    return CLI::Validator(
        [low, high](std::string& text) -> std::string {
            double value = 0;
            if (!CLI::detail::lexical_cast(text, value) || !(value >= low && value <= high)) {
                return fmt::format("{} is not a number of seconds from {} to {}", text, low, high);
            }
            return {};
        },
        fmt::format("SECONDS in [{} - {}]", low, high));
}

}  // namespace orv::cli
