#include "core/Project.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace orv {

uint64_t checkedAdd(uint64_t a, uint64_t b, const char* what) {
    uint64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) {
        std::fprintf(stderr, "Fatal error: arithmetic overflow adding %s\n", what);
        std::abort();
    }
    return sum;
}

DevRuntime Project::runtime() const {
    if (servers.empty()) return DevRuntime::other;
    std::map<DevRuntime, size_t> counts;
    for (const auto& server : servers) ++counts[server.runtime];
    DevRuntime chosen = servers.front().runtime;
    for (const auto& server : servers) {
        if (counts[server.runtime] > counts[chosen]) chosen = server.runtime;
    }
    return chosen;
}

std::vector<uint16_t> Project::ports() const {
    std::vector<uint16_t> all;
    for (const auto& server : servers) all.insert(all.end(), server.ports.begin(), server.ports.end());
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
}

uint64_t Project::memoryBytes() const {
    uint64_t total = 0;
    for (const auto& server : servers) total = checkedAdd(total, server.memoryBytes, "a project's memory");
    return total;
}

Date Project::startedAt() const {
    if (servers.empty()) return distantPast;
    Date earliest = servers.front().startedAt;
    for (const auto& server : servers) earliest = std::min(earliest, server.startedAt);
    return earliest;
}

ProjectActivity Project::activity() const {
    // Kept as the monitor has always shown it: nothing to judge reads as busy.
    if (servers.empty()) return activity::Working{};
    std::optional<int64_t> fewestIdleMinutes;
    for (const auto& server : servers) {
        if (std::holds_alternative<activity::Working>(server.activity)) return activity::Working{};
        if (const auto* idle = std::get_if<activity::Idle>(&server.activity)) {
            fewestIdleMinutes = std::min(fewestIdleMinutes.value_or(idle->minutes), idle->minutes);
        }
    }
    if (fewestIdleMinutes) return activity::Idle{*fewestIdleMinutes};
    return activity::BarelyUsed{};
}

}  // namespace orv
