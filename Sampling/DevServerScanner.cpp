#include "Sampling/DevServerScanner.h"

#include <algorithm>
#include <unordered_map>

namespace orv {

namespace {

std::string_view baseName(std::string_view path) {
    auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

bool isInterpreter(DevRuntime runtime) {
    return runtime != DevRuntime::go && runtime != DevRuntime::rust && runtime != DevRuntime::other;
}

// What a server is called: for an interpreter the script or module it runs
// ("http.server", "vite.js"), else the process's name.
std::string displayName(const ProcessReading& reading, DevRuntime runtime, const std::vector<std::string>& args) {
    if (isInterpreter(runtime)) {
        for (size_t i = 1; i < args.size(); ++i) {
            if ((args[i] == "-m" || args[i] == "-jar") && i + 1 < args.size()) return std::string(baseName(args[i + 1]));
            if (!args[i].empty() && args[i][0] != '-') return std::string(baseName(args[i]));
        }
    }
    return reading.name;
}

std::string commandLine(const ProcessReading& reading, const std::vector<std::string>& args) {
    if (args.empty()) return reading.name;
    std::string line;
    for (const auto& arg : args) {
        if (!line.empty()) line += ' ';
        line += arg;
    }
    return line;
}

}  // namespace

DevServerScanner::DevServerScanner(std::unique_ptr<DevServerPort> port, ProjectLocator locator, uint32_t viewerUid,
                                   int32_t ownProcessGroup)
    : port_(std::move(port)), locator_(std::move(locator)), viewerUid_(viewerUid), ownProcessGroup_(ownProcessGroup) {}

ProjectActivity DevServerScanner::observe(const ProcessReading& reading, Date now,
                                          std::map<std::pair<int32_t, double>, Instance>& next) {
    const auto key = std::pair(reading.pid, reading.startTime.secondsSinceReferenceDate);
    auto found = instances_.find(key);
    Instance instance = found != instances_.end() ? std::move(found->second) : Instance{now, std::nullopt, {}};
    auto& window = instance.window;
    window.push_back({now, reading.cpuTime});
    // Keep the newest observation at least a minute old and all after it.
    while (window.size() > 2 && now.secondsSinceReferenceDate - window[1].at.secondsSinceReferenceDate >= 60) {
        window.erase(window.begin());
    }
    const bool working = DevServerMath::workedInLastMinute(window);
    if (working) instance.lastWorking = now;
    auto result = DevServerMath::activity(working, reading.cpuTime, now, instance.lastWorking.value_or(instance.firstSeen));
    next.emplace(key, std::move(instance));
    return result;
}

std::vector<Project> DevServerScanner::scan(std::span<const ProcessReading> readings, Date now) {
    ports_ = port_->listeningPorts();
    std::unordered_map<int32_t, const ProcessReading*> byPid;
    for (const auto& reading : readings) byPid.emplace(reading.pid, &reading);

    std::map<std::pair<int32_t, double>, Instance> next;
    std::map<std::string, Project> projects;
    for (size_t i = 0; i < ports_.size();) {
        const int32_t pid = ports_[i].pid;
        size_t end = i;
        std::vector<uint16_t> portNumbers;
        std::optional<std::string> directory;
        for (; end < ports_.size() && ports_[end].pid == pid; ++end) {
            portNumbers.push_back(ports_[end].port);
            if (!directory) directory = ports_[end].workingDirectory;
        }
        i = end;
        auto reading = byPid.find(pid);
        if (reading == byPid.end() || !directory) continue;
        const auto project = locator_.locate(*directory);
        if (!DevServerMath::isDeveloperServer(reading->second->uid, viewerUid_, project.has_value())) continue;

        const auto details = port_->details(pid).value_or(DevProcessDetails{});
        DevServerMath::RuntimeEvidence evidence{reading->second->executablePath, details.arguments,
                                                details.goBuildID.has_value(), false};
        if (evidence.executablePath) {
            if (auto cargo = DevServerMath::cargoProjectOf(*evidence.executablePath)) {
                evidence.builtByCargo = locator_.hasFile(*cargo + "/Cargo.toml");
            }
        }
        std::vector<int32_t> ancestors;
        for (int32_t parent = reading->second->parentPID; parent > 0 && ancestors.size() < 64;) {
            ancestors.push_back(parent);
            auto p = byPid.find(parent);
            if (p == byPid.end()) break;
            parent = p->second->parentPID;
        }

        std::sort(portNumbers.begin(), portNumbers.end());
        portNumbers.erase(std::unique(portNumbers.begin(), portNumbers.end()), portNumbers.end());
        DevServer server;
        server.pid = pid;
        server.runtime = DevServerMath::recogniseRuntime(evidence);
        server.name = displayName(*reading->second, server.runtime, details.arguments);
        server.command = commandLine(*reading->second, details.arguments);
        server.ports = std::move(portNumbers);
        server.memoryBytes = reading->second->footprintBytes;
        server.startedAt = reading->second->startTime;
        server.cpuTime = reading->second->cpuTime;
        server.activity = observe(*reading->second, now, next);
        const int32_t group = details.processGroup > 0 ? details.processGroup : 0;
        server.stopTarget = DevServerMath::stopTarget(pid, group, details.session, ancestors, ownProcessGroup_);

        auto& entry = projects[project->id];
        entry.id = project->id;
        entry.name = project->name;
        entry.servers.push_back(std::move(server));
    }
    instances_ = std::move(next);

    std::vector<Project> out;
    out.reserve(projects.size());
    for (auto& [id, project] : projects) out.push_back(std::move(project));
    DevServerMath::sortBusiestFirst(out);
    return out;
}

}  // namespace orv
