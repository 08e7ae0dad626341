#pragma once

#include <optional>
#include <span>
#include <vector>

#include "PrivateAPIs/BluetoothBatteries.h"
#include "PrivateAPIs/HIDTemperatures.h"
#include "core/FanReading.h"
#include "core/SensorStats.h"

namespace orv {

// Gathers the sensor record: temperatures (every named sensor, at most 64)
// and fans are read here; the Bluetooth readings are passed in, because on
// macOS they must be taken on the main thread.
namespace SensorsReader {

// The temperatures and the fans of one pass, read together: on Linux both
// come from the same hwmon attributes, which are read once for both.
struct Hardware {
    std::optional<HIDTemperatures::Readings> temperatures;  // absent: no temperature facility
    std::vector<FanReading> fans;
};

// The running platform's reading (SensorStatsMath's prefix and limit).
Hardware readHardware();

std::optional<SensorStats> sample(std::span<const BluetoothBatteries::Reading> bluetooth);

}  // namespace SensorsReader

}  // namespace orv
