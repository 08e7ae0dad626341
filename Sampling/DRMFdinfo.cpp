#include "Sampling/DRMFdinfo.h"

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
        } else if (key.starts_with("drm-engine-") && !key.starts_with("drm-engine-capacity-")) {
            if (auto ns = unsignedValue(value)) usage.engineNanoseconds += *ns;
        }
    }
    if (!isDRM) return std::nullopt;
    return usage;
}

void DRMClientTally::add(int32_t pid, const DRMClientUsage& usage) {
    // Client ids are unique per device, so the device is part of the key.
    if (usage.clientID && !seen_.emplace(usage.driver + "@" + usage.device, *usage.clientID).second) return;
    totals_[pid] += usage.engineNanoseconds;
}

}  // namespace orv
