#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "PrivateAPIs/BluetoothBatteries.h"
#include "PrivateAPIs/HIDTemperatures.h"
#include "core/FanReading.h"
#include "core/PeripheralBattery.h"
#include "core/SensorStats.h"

namespace orv {

// The sensor record of a sample, from the temperature map, the fans and
// the Bluetooth readings:
// - every named temperature sensor, at most `temperatureLimit` of them,
//   becomes a TemperatureReading whose id and name are the sensor's name;
// - each Bluetooth reading becomes one PeripheralBattery per reported
//   cell, id the address (plus "-left", "-right" or "-case" for the cells
//   of a multi-cell device), kind from the device's class or icon;
// - nothing at all (no sensors, fans or peripherals) is no record.
namespace SensorStatsMath {

inline constexpr int64_t temperatureLimit = 64;
inline constexpr const char* temperaturePrefix = "";

PeripheralBattery::Kind kind(const BluetoothBatteries::Reading& reading);

std::vector<PeripheralBattery> peripherals(const BluetoothBatteries::Reading& reading);

std::vector<TemperatureReading> temperatures(const HIDTemperatures::Readings& readings);

std::optional<SensorStats> stats(const std::optional<HIDTemperatures::Readings>& temperatures,
                                 std::vector<FanReading> fans,
                                 std::span<const BluetoothBatteries::Reading> bluetooth);

}  // namespace SensorStatsMath

}  // namespace orv
