#pragma once

#include <filesystem>

#include "core/ThermalPressure.h"

namespace orv {

// The pressure level of the zones and cooling devices below
// <root>/sys/class/thermal (see ThermalZoneMath for the mapping): every
// zone's attributes, and the state of the processor throttling devices
// only (a device's type is read first).
ThermalPressure thermalPressure(const std::filesystem::path& root);

}  // namespace orv
