#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include "PrivateAPIs/HIDTemperatures.h"
#include "PrivateAPIs/HwmonDecoding.h"

namespace orv {

// The chips of <root>/sys/class/hwmon, in natural order (hwmon2 before
// hwmon10); absent when the class folder is missing. Only the attributes
// HwmonDecoding::isRead names are opened, each once; `filesRead`, when
// given, counts them.
std::optional<std::vector<HwmonChip>> readHwmonChips(const std::filesystem::path& root,
                                                      size_t* filesRead = nullptr);

// The temperature reading of HIDTemperatures over chips already read.
HIDTemperatures::Readings hwmonTemperatures(std::span<const HwmonChip> chips, std::string_view prefix,
                                            int64_t limit);

// The temperature reading of HIDTemperatures over the chips below `root`.
std::optional<HIDTemperatures::Readings> hwmonTemperatures(const std::filesystem::path& root, std::string_view prefix,
                                                           int64_t limit);

}  // namespace orv
