// The hwmon class's chips: temperatures (named across chips) and fans.
#include <vector>

#include "PrivateAPIs/HwmonDecoding.h"
#include "fuzz/AttributeFolder.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<orv::HwmonChip> chips;
    for (auto& folder : orv::fuzz::AttributeFolder::decodeAll(orv::fuzz::text(data, size))) {
        for (const auto& [name, value] : folder.attributes) (void)orv::HwmonDecoding::isRead(name);
        chips.push_back({folder.name, "/devices/" + folder.name, std::move(folder.attributes)});
    }
    for (const auto& chip : chips) {
        (void)orv::HwmonDecoding::temperatures(chip);
        (void)orv::HwmonDecoding::fans(chip);
    }
    (void)orv::HwmonDecoding::temperatures(chips);
    return 0;
}
