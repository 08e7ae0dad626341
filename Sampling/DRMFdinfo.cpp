#include "Sampling/DRMFdinfo.h"

#include <charconv>

#include "PrivateAPIs/AttributeText.h"

namespace orv {

namespace {

std::optional<uint64_t> unsignedValue(std::string_view text) {
    text = AttributeText::trimmed(text);
    if (text.empty()) return std::nullopt;
    uint64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc()) return std::nullopt;
    std::string_view unit = AttributeText::trimmed(std::string_view(end, text.data() + text.size() - end));
    if (!unit.empty() && unit != "ns") return std::nullopt;
    return value;
}

}  // namespace

std::optional<DRMClientUsage> DRMFdinfo::parse(std::string_view text) {
    DRMClientUsage usage;
    bool isDRM = false;
    while (!text.empty()) {
        size_t newline = text.find('\n');
        std::string_view line = text.substr(0, newline);
        text = newline == std::string_view::npos ? std::string_view{} : text.substr(newline + 1);

        size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        std::string_view key = line.substr(0, colon);
        std::string_view value = line.substr(colon + 1);
        if (key == "drm-driver") {
            isDRM = true;
            usage.driver = std::string(AttributeText::trimmed(value));
        } else if (key == "drm-pdev") {
            usage.device = std::string(AttributeText::trimmed(value));
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
