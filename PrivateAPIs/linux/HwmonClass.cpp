#include "PrivateAPIs/linux/HwmonClass.h"

#include "PrivateAPIs/linux/AttributeDirectory.h"

namespace orv {

std::optional<std::vector<HwmonChip>> readHwmonChips(const std::filesystem::path& root) {
    std::error_code error;
    auto folder = root / "sys/class/hwmon";
    if (!std::filesystem::is_directory(folder, error)) return std::nullopt;
    std::vector<HwmonChip> out;
    for (const auto& entry : AttributeDirectory::entries(folder)) {
        HwmonChip chip{AttributeDirectory::readAll(entry)};
        // Older drivers keep their attributes on the device rather than the chip.
        if (!chip.attributes.contains("name") || chip.attributes.size() == 1) {
            for (auto& [name, value] : AttributeDirectory::readAll(entry / "device")) {
                chip.attributes.try_emplace(name, std::move(value));
            }
        }
        out.push_back(std::move(chip));
    }
    return out;
}

std::optional<HIDTemperatures::Readings> hwmonTemperatures(const std::filesystem::path& root, std::string_view prefix,
                                                           int64_t limit) {
    auto chips = readHwmonChips(root);
    if (!chips) return std::nullopt;
    std::vector<HwmonDecoding::Temperature> sensors;
    for (const auto& chip : *chips) {
        for (auto& t : HwmonDecoding::temperatures(chip)) sensors.push_back(std::move(t));
    }
    return HIDTemperatures::select(
        sensors.size(), [&](size_t i) -> std::optional<std::string> { return sensors[i].name; },
        [&](size_t i) -> std::optional<double> { return sensors[i].celsius; }, prefix, limit);
}

namespace HIDTemperatures {

bool isAvailable() { return readHwmonChips("/").has_value(); }

std::optional<Readings> read(std::string_view prefix, int64_t limit) { return hwmonTemperatures("/", prefix, limit); }

}  // namespace HIDTemperatures

}  // namespace orv
