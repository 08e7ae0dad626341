#include "Sampling/CPUTopologyMath.h"

#include <algorithm>
#include <set>

#include "core/Utf8.h"

namespace orv {

std::optional<CPUTopology> CPUTopologyMath::matchClusters(const std::vector<PerfLevel>& levels,
                                                          const std::map<int64_t, std::string>& clusterTypes) {
    std::set<int64_t> sizes;
    int64_t total = 0;
    for (const auto& level : levels) {
        if (!sizes.insert(level.coreCount).second) return std::nullopt;
        total += level.coreCount;
    }
    if (total != int64_t(clusterTypes.size())) return std::nullopt;

    std::map<std::string, std::vector<int64_t>> groups;
    for (const auto& [core, type] : clusterTypes) groups[type].push_back(core);

    CPUTopology topology;
    for (size_t i = 0; i < levels.size(); ++i) {
        auto group = std::find_if(groups.begin(), groups.end(), [&](const auto& entry) {
            return int64_t(entry.second.size()) == levels[i].coreCount;
        });
        if (group == groups.end()) return std::nullopt;
        std::vector<int64_t> cores = group->second;
        std::sort(cores.begin(), cores.end());
        topology.levels.push_back({levels[i].name, int64_t(i), std::move(cores)});
    }
    return topology;
}

CPUTopology CPUTopologyMath::kernelCoreOrder(const std::vector<PerfLevel>& levels) {
    CPUTopology topology;
    int64_t start = 0;
    for (size_t i = levels.size(); i-- > 0;) {
        std::vector<int64_t> cores;
        for (int64_t c = 0; c < levels[i].coreCount; ++c) cores.push_back(start + c);
        start += std::max<int64_t>(levels[i].coreCount, 0);
        topology.levels.push_back({levels[i].name, int64_t(i), std::move(cores)});
    }
    std::stable_sort(topology.levels.begin(), topology.levels.end(),
                     [](const auto& a, const auto& b) { return a.level < b.level; });
    return topology;
}

std::optional<std::pair<int64_t, std::string>> CPUTopologyMath::clusterEntry(const PropertyValue* logicalCPUID,
                                                                             const PropertyValue* clusterType) {
    if (!logicalCPUID || !clusterType || !logicalCPUID->isNumber() || !clusterType->data()) return std::nullopt;
    auto number = logicalCPUID->integer();
    if (!number) number = int64_t(*logicalCPUID->number());
    const auto& bytes = *clusterType->data();
    auto end = std::find(bytes.begin(), bytes.end(), uint8_t(0));
    std::span<const uint8_t> text(bytes.data(), size_t(end - bytes.begin()));
    std::string name = isValidUtf8(text) ? std::string(text.begin(), text.end()) : std::string();
    return std::pair{*number, std::move(name)};
}

}  // namespace orv
