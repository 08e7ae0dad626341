#pragma once

#include <iosfwd>
#include <optional>
#include <vector>

#include "cli/SystemView.h"
#include "core/BatteryStats.h"
#include "core/GPUStats.h"
#include "core/SensorStats.h"
#include "core/ThermalPressure.h"

namespace orv::cli {

// The battery, GPU, thermal and sensor sections of `orvantine system`, in
// that order. A machine without a battery, GPU or sensors gets a line
// saying so and no key in the JSON; thermal pressure is always there.
// Bluetooth peripherals are read here, on the thread that builds the
// sections (the main thread), as IOBluetooth requires.
std::vector<SystemSection> makePowerSensorsSections();

// The text forms, one function per section.
void printBattery(const std::optional<BatteryStats>& stats, std::ostream& out);
void printGPU(const std::optional<GPUStats>& stats, std::ostream& out);
void printThermal(ThermalPressure pressure, std::ostream& out);
void printSensors(const std::optional<SensorStats>& stats, std::ostream& out);

}  // namespace orv::cli
