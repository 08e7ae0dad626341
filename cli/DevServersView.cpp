#include "cli/DevServersView.h"

#include <fmt/format.h>

#include "cli/Format.h"
#include "core/DevRuntime.h"

namespace orv::cli {

std::string formatActivity(const ProjectActivity& activity) {
    if (std::holds_alternative<activity::Working>(activity)) return "working";
    if (const auto* idle = std::get_if<activity::Idle>(&activity)) {
        return idle->minutes > 0 ? fmt::format("idle {} min", idle->minutes) : "idle";
    }
    return "barely used";
}

std::string stopArgument(const TerminationTarget& target) {
    return std::visit([](const auto& c) -> std::string {
        using Case = std::decay_t<decltype(c)>;
        if constexpr (std::is_same_v<Case, termination::Process>) return std::to_string(c._0);
        else if constexpr (std::is_same_v<Case, termination::ProcessGroup>) return "group:" + std::to_string(c._0);
        else if constexpr (std::is_same_v<Case, termination::App>) return c._0;
        else return "container:" + c.id;
    }, target);
}

std::string formatPorts(const std::vector<uint16_t>& ports) {
    std::string text;
    for (auto port : ports) {
        if (!text.empty()) text += ", ";
        text += std::to_string(port);
    }
    return text.empty() ? "-" : text;
}

std::string formatDevServers(const std::vector<Project>& projects, Date now) {
    if (projects.empty()) return "No development servers are listening.\n";
    std::string out;
    for (const auto& project : projects) {
        const double up = now.secondsSinceReferenceDate - project.startedAt().secondsSinceReferenceDate;
        out += fmt::format("{}  {}  {}  ports {}  {}  up {}  {}\n", project.name, project.id,
                           rawValue(project.runtime()), formatPorts(project.ports()),
                           formatBytes(project.memoryBytes()),
                           formatUptime(Duration::seconds(int64_t(std::max(0.0, up)))),
                           formatActivity(project.activity()));
        for (const auto& server : project.servers) {
            const double serverUp = now.secondsSinceReferenceDate - server.startedAt.secondsSinceReferenceDate;
            out += fmt::format("  {:>7}  {:<16} {:<6} {:<14} {:>10}  up {:<8} {:<12} stop {}\n", server.pid,
                               fitWidth(server.name, 16), rawValue(server.runtime), formatPorts(server.ports),
                               formatBytes(server.memoryBytes),
                               formatUptime(Duration::seconds(int64_t(std::max(0.0, serverUp)))),
                               formatActivity(server.activity), stopArgument(server.stopTarget));
            out += fmt::format("           {}\n", fitWidth(server.command, 100));
        }
    }
    return out;
}

}  // namespace orv::cli
