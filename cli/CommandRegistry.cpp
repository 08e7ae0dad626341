#include "cli/CommandRegistry.h"

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

}  // namespace orv::cli
