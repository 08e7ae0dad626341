#include "PrivateAPIs/linux/HwmonClass.h"

#include "PrivateAPIs/linux/AttributeDirectory.h"

namespace orv {

namespace {

// The attributes of `folder` that a pass reads; the others are not opened.
void readWanted(const std::filesystem::path& folder, AttributeText::Attributes& into, size_t* filesRead) {
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        auto name = it->path().filename().string();
        if (!HwmonDecoding::isRead(name) || into.contains(name)) continue;
        std::error_code statError;
        if (!it->is_regular_file(statError)) continue;
        if (filesRead != nullptr) ++*filesRead;
        if (auto text = AttributeDirectory::read(it->path())) into.emplace(std::move(name), std::move(*text));
    }
}

}  // namespace

std::optional<std::vector<HwmonChip>> readHwmonChips(const std::filesystem::path& root, size_t* filesRead) {
    std::error_code error;
    auto folder = root / "sys/class/hwmon";
    if (!std::filesystem::is_directory(folder, error)) return std::nullopt;
    std::vector<HwmonChip> out;
    for (const auto& entry : AttributeDirectory::entries(folder)) {
        HwmonChip chip;
        std::error_code linkError;
        auto device = std::filesystem::canonical(entry / "device", linkError);
        if (!linkError) {
            chip.device = device.filename().string();
            chip.deviceKey = device.lexically_relative(std::filesystem::weakly_canonical(root, linkError)).string();
        } else {
            // A chip without a device (a virtual one) is known by its folder.
            chip.device = entry.filename().string();
        }
        readWanted(entry, chip.attributes, filesRead);
        // Older drivers keep their attributes on the device rather than the chip.
        if (!chip.attributes.contains("name") || chip.attributes.size() == 1) {
            readWanted(entry / "device", chip.attributes, filesRead);
        }
        out.push_back(std::move(chip));
    }
    return out;
}

HIDTemperatures::Readings hwmonTemperatures(std::span<const HwmonChip> chips, std::string_view prefix,
                                            int64_t limit) {
    auto sensors = HwmonDecoding::temperatures(chips);
    return HIDTemperatures::select(
        sensors.size(), [&](size_t i) -> std::optional<std::string> { return sensors[i].name; },
        [&](size_t i) -> std::optional<double> { return sensors[i].celsius; }, prefix, limit);
}

std::optional<HIDTemperatures::Readings> hwmonTemperatures(const std::filesystem::path& root, std::string_view prefix,
                                                           int64_t limit) {
    auto chips = readHwmonChips(root);
    if (!chips) return std::nullopt;
    return hwmonTemperatures(*chips, prefix, limit);
}

namespace HIDTemperatures {

bool isAvailable() {
    std::error_code error;
    return std::filesystem::is_directory("/sys/class/hwmon", error);
}

std::optional<Readings> read(std::string_view prefix, int64_t limit) { return hwmonTemperatures("/", prefix, limit); }

}  // namespace HIDTemperatures

}  // namespace orv
