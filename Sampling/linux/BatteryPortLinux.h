#pragma once

#include <filesystem>
#include <memory>

#include "Sampling/BatteryPort.h"

namespace orv {

// The battery port over <root>/sys/class/power_supply.
std::unique_ptr<BatteryPort> makeBatteryPort(const std::filesystem::path& root);

}  // namespace orv
