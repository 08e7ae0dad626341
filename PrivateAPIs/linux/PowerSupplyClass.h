#pragma once

#include <filesystem>
#include <vector>

#include "PrivateAPIs/PowerSupplyEntry.h"

namespace orv {

// Every entry of <root>/sys/class/power_supply, in natural name order.
std::vector<PowerSupplyEntry> readPowerSupplies(const std::filesystem::path& root);

}  // namespace orv
