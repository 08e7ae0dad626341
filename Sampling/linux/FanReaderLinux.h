#pragma once

#include <filesystem>
#include <span>
#include <vector>

#include "PrivateAPIs/HwmonDecoding.h"
#include "core/FanReading.h"

namespace orv {

// Every fan of every chip, in chip order and then fan order. A fan's id
// is its N (fanN_input) plus 100 times its chip's rank among the chips
// with fans, ranked by where their devices sit (HwmonChip::deviceKey),
// not by hwmonN numbers, which follow the order drivers happened to load
// in: so ids stay the same from boot to boot, and on the usual machine
// with one fan controller they are the N that sensors(1) shows.
std::vector<FanReading> fanReadings(std::span<const HwmonChip> chips);

// The same over the chips below <root>/sys/class/hwmon.
std::vector<FanReading> fanReadings(const std::filesystem::path& root);

}  // namespace orv
