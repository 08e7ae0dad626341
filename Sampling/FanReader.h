#pragma once

#include <vector>

#include "core/FanReading.h"

namespace orv {

// The machine's fans: hwmon fan inputs on Linux. macOS has no fan source
// yet, so there the list is empty.
namespace FanReader {

std::vector<FanReading> readings();

}  // namespace FanReader

}  // namespace orv
