#include "Sampling/CoreGroupTopology.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <unordered_map>

namespace orv {

namespace {

std::optional<int64_t> parseNumber(std::string_view text) {
    int64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
    return value;
}

std::string_view trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\n' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\n' || text.back() == '\t')) text.remove_suffix(1);
    return text;
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

std::optional<std::vector<int64_t>> parseCPUList(std::string_view text) {
    text = trim(text);
    std::vector<int64_t> cores;
    if (text.empty()) return cores;
    while (!text.empty()) {
        auto comma = text.find(',');
        auto item = text.substr(0, comma);
        text = comma == std::string_view::npos ? std::string_view{} : text.substr(comma + 1);
        auto dash = item.find('-');
        auto first = parseNumber(item.substr(0, dash));
        auto last = dash == std::string_view::npos ? first : parseNumber(item.substr(dash + 1));
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
