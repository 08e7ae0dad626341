#include "Sampling/CoreGroupTopology.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "core/TextDecoding.h"

namespace orv {

namespace {

// A CPU number: decimal, never negative.
std::optional<int64_t> cpuNumber(std::string_view text) {
    auto value = TextDecoding::parseNumber<int64_t>(text);
    if (!value || *value < 0) return std::nullopt;
    return value;
}

// A kernel CPU list never spans more than the possible CPUs; this bound
// keeps a garbage range from allocating without end.
constexpr int64_t maximumCPUNumber = 1 << 16;

// The positions in the per-core array of the listed cores that are online.
std::vector<int64_t> positionsOf(const std::vector<int64_t>& cores,
                                 const std::unordered_map<int64_t, int64_t>& position) {
    std::vector<int64_t> positions;
    for (int64_t core : cores) {
        if (auto found = position.find(core); found != position.end()) positions.push_back(found->second);
    }
    std::sort(positions.begin(), positions.end());
    positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
    return positions;
}

std::string capacityLevelName(size_t index, size_t count) {
    if (index == 0) return "Performance";
    if (index + 1 == count) return "Efficiency";
    return "Intermediate " + std::to_string(index);
}

}  // namespace

std::optional<std::vector<int64_t>> CPUList::decode(std::string_view text) {
    text = TextDecoding::trim(text);
    std::vector<int64_t> cores;
    while (!text.empty()) {
        std::string_view item = TextDecoding::takeUntil(text, ',');
        auto dash = item.find('-');
        auto first = cpuNumber(item.substr(0, dash));
        auto last = dash == std::string_view::npos ? first : cpuNumber(item.substr(dash + 1));
        if (!first || !last || *last < *first || *last > maximumCPUNumber) return std::nullopt;
        for (int64_t core = *first; core <= *last; ++core) cores.push_back(core);
    }
    return cores;
}

CPUTopology coreGroupTopology(const CoreGroupFacts& facts) {
    std::unordered_map<int64_t, int64_t> position;
    for (size_t i = 0; i < facts.onlineCores.size(); ++i) position.emplace(facts.onlineCores[i], int64_t(i));

    CPUTopology topology;
    if (facts.hybridPerformance && facts.hybridEfficiency) {
        topology.levels.push_back({"Performance", 0, positionsOf(*facts.hybridPerformance, position)});
        topology.levels.push_back({"Efficiency", 1, positionsOf(*facts.hybridEfficiency, position)});
        return topology;
    }

    // Capacities group the cores only when every online core has one and
    // they differ; equal capacities are a symmetric machine.
    std::map<int64_t, std::vector<int64_t>, std::greater<>> byCapacity;
    bool complete = !facts.onlineCores.empty();
    for (int64_t core : facts.onlineCores) {
        auto found = facts.capacities.find(core);
        if (found == facts.capacities.end()) {
            complete = false;
            break;
        }
        byCapacity[found->second].push_back(core);
    }
    if (complete && byCapacity.size() > 1) {
        size_t index = 0;
        for (const auto& [capacity, cores] : byCapacity) {
            topology.levels.push_back({capacityLevelName(index, byCapacity.size()), int64_t(index),
                                       positionsOf(cores, position)});
            ++index;
        }
        return topology;
    }

    std::vector<int64_t> all;
    for (size_t i = 0; i < facts.onlineCores.size(); ++i) all.push_back(int64_t(i));
    topology.levels.push_back({"CPU", 0, std::move(all)});
    return topology;
}

}  // namespace orv
