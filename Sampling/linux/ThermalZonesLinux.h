#pragma once

#include <filesystem>

#include "core/ThermalPressure.h"

namespace orv {

// The pressure level of the zones and cooling devices below
// <root>/sys/class/thermal (see ThermalZoneMath for the mapping).
ThermalPressure thermalPressure(const std::filesystem::path& root);

}  // namespace orv
