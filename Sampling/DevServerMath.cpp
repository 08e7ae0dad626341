#include "Sampling/DevServerMath.h"

#include <algorithm>
#include <cctype>
#include <tuple>

namespace orv {

namespace {

std::string_view baseName(std::string_view path) {
    auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

// "python3.12" → "python", "node18" → "node", "java.exe" → "java":
// the name less a Windows suffix and any trailing version.
std::string_view withoutVersion(std::string_view name) {
    if (name.ends_with(".exe")) name.remove_suffix(4);
    while (!name.empty() && (std::isdigit(static_cast<unsigned char>(name.back())) || name.back() == '.' ||
                             name.back() == '-')) {
        name.remove_suffix(1);
    }
    return name;
}

std::optional<DevRuntime> interpreterNamed(std::string_view path) {
    auto name = withoutVersion(baseName(path));
    if (name == "node" || name == "nodejs") return DevRuntime::node;
    if (name == "python" || name == "pypy") return DevRuntime::python;
    if (name == "ruby") return DevRuntime::ruby;
    if (name == "java") return DevRuntime::java;
    if (name == "bun") return DevRuntime::bun;
    if (name == "deno") return DevRuntime::deno;
    return std::nullopt;
}

int activityRank(const ProjectActivity& a) {
    if (std::holds_alternative<activity::Working>(a)) return 0;
    if (std::holds_alternative<activity::Idle>(a)) return 1;
    return 2;
}

}  // namespace

DevRuntime DevServerMath::recogniseRuntime(const RuntimeEvidence& evidence) {
    if (evidence.executablePath) {
        if (auto runtime = interpreterNamed(*evidence.executablePath)) return *runtime;
    }
    // The executable may be hidden (another user's) or a launcher; argv[0]
    // still names the interpreter.
    if (!evidence.arguments.empty()) {
        if (auto runtime = interpreterNamed(evidence.arguments.front())) return *runtime;
    }
    if (evidence.hasGoBuildID) return DevRuntime::go;
    if (evidence.builtByCargo) return DevRuntime::rust;
    return DevRuntime::other;
}

std::optional<std::string> DevServerMath::cargoProjectOf(std::string_view executablePath) {
    // The last "/target/" wins: a project may itself sit below a folder
    // named target.
    auto at = executablePath.rfind("/target/");
    if (at == std::string_view::npos || at == 0) return std::nullopt;
    return std::string(executablePath.substr(0, at));
}

TerminationTarget DevServerMath::stopTarget(int32_t pid, int32_t processGroup, int32_t session,
                                            std::span<const int32_t> ancestors, int32_t ownProcessGroup) {
    const bool groupIsUsable = processGroup > 1 && processGroup != ownProcessGroup;
    if (groupIsUsable) {
        if (processGroup == pid) return termination::ProcessGroup{processGroup};
        // A shell's own group is its session's: stopping it would take the
        // terminal down with the server.
        const bool ledByAncestor = std::find(ancestors.begin(), ancestors.end(), processGroup) != ancestors.end();
        if (ledByAncestor && processGroup != session) return termination::ProcessGroup{processGroup};
    }
    return termination::Process{pid};
}

bool DevServerMath::isDeveloperServer(uint32_t ownerUid, uint32_t viewerUid, bool hasProject) {
    return ownerUid == viewerUid && hasProject;
}

bool DevServerMath::workedInLastMinute(std::span<const CPUObservation> observations) {
    if (observations.size() < 2) return false;
    constexpr double minute = 60;
    const auto& latest = observations.back();
    size_t from = 0;
    for (size_t i = 0; i + 1 < observations.size(); ++i) {
        if (latest.at.secondsSinceReferenceDate - observations[i].at.secondsSinceReferenceDate >= minute) from = i;
    }
    const double span = latest.at.secondsSinceReferenceDate - observations[from].at.secondsSinceReferenceDate;
    if (span <= 0) return false;
    const double used = (latest.cpuTime - observations[from].cpuTime).toSeconds();
    return used * (minute / span) >= workingCPUPerMinute.toSeconds();
}

ProjectActivity DevServerMath::activity(bool working, Duration totalCPUTime, Date now, Date idleSince) {
    if (working) return activity::Working{};
    if (totalCPUTime < barelyUsedCPUTime) return activity::BarelyUsed{};
    const double idleSeconds = now.secondsSinceReferenceDate - idleSince.secondsSinceReferenceDate;
    return activity::Idle{int64_t(std::max(0.0, idleSeconds) / 60)};
}

void DevServerMath::sortBusiestFirst(std::vector<Project>& projects) {
    auto key = [](const Project& p) {
        auto a = p.activity();
        int64_t minutes = 0;
        if (auto* idle = std::get_if<activity::Idle>(&a)) minutes = idle->minutes;
        Duration cpu;
        for (const auto& s : p.servers) cpu = cpu + s.cpuTime;
        return std::tuple(activityRank(a), minutes, Duration{} - cpu, p.name, p.id);
    };
    std::stable_sort(projects.begin(), projects.end(), [&](const Project& a, const Project& b) { return key(a) < key(b); });
}

}  // namespace orv
