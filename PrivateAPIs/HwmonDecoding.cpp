#include "PrivateAPIs/HwmonDecoding.h"

#include <map>

#include "core/TextDecoding.h"

namespace orv::HwmonDecoding {

namespace {

// The N of every "<kind>N_input" attribute, ascending.
std::vector<int64_t> inputIndices(const AttributeText::Attributes& attributes, std::string_view kind) {
    std::map<int64_t, bool> found;
    for (const auto& [name, value] : attributes) {
        std::string_view key = name;
        constexpr std::string_view suffix = "_input";
        if (!key.starts_with(kind) || !key.ends_with(suffix)) continue;
        auto n = TextDecoding::parseNumber<int64_t>(key.substr(kind.size(), key.size() - kind.size() - suffix.size()));
        if (!n) continue;
        found[*n] = true;
    }
    std::vector<int64_t> out;
    for (const auto& [n, _] : found) out.push_back(n);
    return out;
}

std::string attributeName(std::string_view kind, int64_t n, std::string_view item) {
    return std::string(kind) + std::to_string(n) + "_" + std::string(item);
}

// The N of "<kind>N_<item>", when `attribute` has that form.
bool hasIndexedForm(std::string_view attribute, std::string_view kind, std::string_view item) {
    if (!attribute.starts_with(kind) || !attribute.ends_with(item)) return false;
    if (attribute.size() <= kind.size() + item.size() + 1) return false;
    std::string_view middle = attribute.substr(kind.size(), attribute.size() - kind.size() - item.size());
    if (!middle.ends_with('_')) return false;
    return TextDecoding::parseNumber<int64_t>(middle.substr(0, middle.size() - 1)).has_value();
}

}  // namespace

bool isRead(std::string_view attribute) {
    if (attribute == "name") return true;
    return hasIndexedForm(attribute, "temp", "input") || hasIndexedForm(attribute, "temp", "label") ||
           hasIndexedForm(attribute, "fan", "input") || hasIndexedForm(attribute, "fan", "min") ||
           hasIndexedForm(attribute, "fan", "max");
}

std::vector<Temperature> temperatures(std::span<const HwmonChip> chips) {
    std::map<std::string, int> chipsByName;
    for (const auto& chip : chips) {
        const std::string* name = AttributeText::textAt(chip.attributes, "name");
        ++chipsByName[name != nullptr ? *name : std::string("hwmon")];
    }
    std::vector<Temperature> out;
    for (const auto& chip : chips) {
        const std::string* name = AttributeText::textAt(chip.attributes, "name");
        bool shared = chipsByName[name != nullptr ? *name : std::string("hwmon")] > 1;
        for (auto& t : temperatures(chip)) {
            if (shared && !chip.device.empty()) t.name += " (" + chip.device + ")";
            out.push_back(std::move(t));
        }
    }
    return out;
}

std::vector<Temperature> temperatures(const HwmonChip& chip) {
    std::vector<Temperature> out;
    const std::string* chipName = AttributeText::textAt(chip.attributes, "name");
    std::string prefix = chipName != nullptr ? *chipName : std::string("hwmon");
    for (int64_t n : inputIndices(chip.attributes, "temp")) {
        auto millidegrees = AttributeText::integerAt(chip.attributes, attributeName("temp", n, "input"));
        if (!millidegrees) continue;
        const std::string* label = AttributeText::textAt(chip.attributes, attributeName("temp", n, "label"));
        std::string name = prefix + " " + (label != nullptr && !label->empty() ? *label : std::to_string(n));
        out.push_back({std::move(name), static_cast<double>(*millidegrees) / 1000.0});
    }
    return out;
}

std::vector<Fan> fans(const HwmonChip& chip) {
    std::vector<Fan> out;
    for (int64_t n : inputIndices(chip.attributes, "fan")) {
        auto rpm = AttributeText::integerAt(chip.attributes, attributeName("fan", n, "input"));
        if (!rpm) continue;
        Fan fan{n, static_cast<double>(*rpm), std::nullopt, std::nullopt};
        if (auto min = AttributeText::integerAt(chip.attributes, attributeName("fan", n, "min"))) fan.minRPM = *min;
        if (auto max = AttributeText::integerAt(chip.attributes, attributeName("fan", n, "max"))) fan.maxRPM = *max;
        out.push_back(fan);
    }
    return out;
}

}  // namespace orv::HwmonDecoding
