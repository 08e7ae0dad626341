#include "Sampling/DRMFdinfo.h"

#include <algorithm>
#include <array>

#include "core/TextDecoding.h"

namespace orv {

namespace {

// A number alone or followed by "ns", as the engine times are written.
std::optional<uint64_t> unsignedValue(std::string_view text) {
    auto parsed = TextDecoding::parseNumberAndRest<uint64_t>(text);
    if (!parsed) return std::nullopt;
    std::string_view unit = TextDecoding::trim(parsed->second);
    if (!unit.empty() && unit != "ns") return std::nullopt;
    return parsed->first;
}

constexpr std::string_view enginePrefix = "drm-engine-";
constexpr std::string_view capacityPrefix = "drm-engine-capacity-";
constexpr std::string_view cyclesPrefix = "drm-cycles-";
constexpr std::string_view totalCyclesPrefix = "drm-total-cycles-";

}  // namespace

std::optional<DRMClientUsage> DRMClientUsage::decode(std::string_view text) {
    DRMClientUsage usage;
    bool isDRM = false;
    for (std::string_view line : TextDecoding::Lines(text)) {
        auto pair = TextDecoding::splitKeyValue(line);
        if (!pair) continue;
        auto [key, value] = *pair;
        if (key == "drm-driver") {
            isDRM = true;
            usage.driver = std::string(value);
        } else if (key == "drm-pdev") {
            usage.device = std::string(value);
        } else if (key == "drm-client-id") {
            usage.clientID = unsignedValue(value);
        } else if (key.starts_with(enginePrefix) && !key.starts_with(capacityPrefix)) {
            if (auto ns = unsignedValue(value)) {
                usage.engineNanoseconds[std::string(key.substr(enginePrefix.size()))] = *ns;
            }
        } else if (key.starts_with(cyclesPrefix)) {
            if (auto n = unsignedValue(value)) {
                usage.engineCycles[std::string(key.substr(cyclesPrefix.size()))].busy = *n;
            }
        } else if (key.starts_with(totalCyclesPrefix)) {
            if (auto n = unsignedValue(value)) {
                usage.engineCycles[std::string(key.substr(totalCyclesPrefix.size()))].total = *n;
            }
        }
    }
    if (!isDRM) return std::nullopt;
    return usage;
}

bool DRMClientUsage::isWorkEngine(std::string_view name) {
    constexpr std::array<std::string_view, 5> names{"render", "gfx", "compute", "rcs", "ccs"};
    return std::find(names.begin(), names.end(), name) != names.end();
}

uint64_t DRMClientUsage::busyNanoseconds() const {
    bool namesWork = std::any_of(engineNanoseconds.begin(), engineNanoseconds.end(),
                                 [](const auto& engine) { return isWorkEngine(engine.first); });
    uint64_t busiest = 0;
    for (const auto& [name, ns] : engineNanoseconds) {
        if (namesWork && !isWorkEngine(name)) continue;
        busiest = std::max(busiest, ns);
    }
    return busiest;
}

bool DRMClientTally::add(int32_t pid, const DRMClientUsage& usage) {
    if (device_ && usage.device != *device_) return false;
    // Client ids are unique per device, so the device is part of the key.
    if (usage.clientID && !seen_.emplace(usage.driver + "@" + usage.device, *usage.clientID).second) return false;
    totals_[pid] += usage.busyNanoseconds();
    return true;
}

}  // namespace orv
