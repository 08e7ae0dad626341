#pragma once

#include <optional>
#include <span>

#include "PrivateAPIs/BluetoothBatteries.h"
#include "core/SensorStats.h"

namespace orv {

// Gathers the sensor record: temperatures (every named sensor, at most 64)
// and fans are read here; the Bluetooth readings are passed in, because on
// macOS they must be taken on the main thread.
namespace SensorsReader {

std::optional<SensorStats> sample(std::span<const BluetoothBatteries::Reading> bluetooth);

}  // namespace SensorsReader

}  // namespace orv
