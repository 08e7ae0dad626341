#pragma once

#include <filesystem>
#include <vector>

#include "core/FanReading.h"

namespace orv {

// Every fan of every chip below <root>/sys/class/hwmon, in chip order and
// then fan order; ids count from 0 across all chips, so they are unique.
std::vector<FanReading> fanReadings(const std::filesystem::path& root);

}  // namespace orv
