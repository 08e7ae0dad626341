#pragma once

#include <cstdint>

#include "core/ThermalPressure.h"

namespace orv {

// The system's thermal pressure: the process thermal state on macOS, the
// thermal zones' trip points and cooling devices on Linux.
namespace ThermalReader {

ThermalPressure currentPressure();

// The platform's thermal states 0 to 3; anything else reads nominal.
ThermalPressure pressureFromState(int64_t state);

}  // namespace ThermalReader

}  // namespace orv
