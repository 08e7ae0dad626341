#include "Sampling/linux/FanReaderLinux.h"

#include <algorithm>
#include <tuple>

#include "PrivateAPIs/linux/HwmonClass.h"
#include "Sampling/FanReader.h"

namespace orv {

namespace {

constexpr int64_t fansPerChip = 100;

std::string_view chipName(const HwmonChip& chip) {
    const std::string* name = AttributeText::textAt(chip.attributes, "name");
    return name != nullptr ? std::string_view(*name) : std::string_view();
}

}  // namespace

std::vector<FanReading> fanReadings(std::span<const HwmonChip> chips) {
    std::vector<const HwmonChip*> withFans;
    for (const auto& chip : chips) {
        if (!HwmonDecoding::fans(chip).empty()) withFans.push_back(&chip);
    }
    std::vector<const HwmonChip*> ranked = withFans;
    std::stable_sort(ranked.begin(), ranked.end(), [](const HwmonChip* a, const HwmonChip* b) {
        return std::tuple(a->deviceKey, chipName(*a), a->device) < std::tuple(b->deviceKey, chipName(*b), b->device);
    });
    std::vector<FanReading> out;
    for (const HwmonChip* chip : withFans) {
        auto rank = static_cast<int64_t>(std::find(ranked.begin(), ranked.end(), chip) - ranked.begin());
        for (const auto& fan : HwmonDecoding::fans(*chip)) {
            out.push_back({rank * fansPerChip + fan.index, fan.rpm, fan.minRPM, fan.maxRPM});
        }
    }
    return out;
}

std::vector<FanReading> fanReadings(const std::filesystem::path& root) {
    auto chips = readHwmonChips(root);
    if (!chips) return {};
    return fanReadings(*chips);
}

std::vector<FanReading> FanReader::readings() { return fanReadings("/"); }

}  // namespace orv
