#pragma once

#include <iosfwd>
#include <optional>
#include <vector>

#include "PrivateAPIs/BluetoothBatteries.h"
#include "Sampling/SnapshotBuilder.h"
#include "cli/SystemView.h"
#include "core/BatteryStats.h"
#include "core/GPUStats.h"
#include "core/SensorStats.h"
#include "core/ThermalPressure.h"

namespace orv::cli {

// The battery, GPU, thermal and sensor sections of `orvantine system`, in
// that order, over the readers of `parts` and the peripherals' readings
// (read by the caller on the main thread, as IOBluetooth requires). A
// machine without a battery, GPU or sensors gets a line saying so and no
// key in the JSON; thermal pressure is always there.
std::vector<SystemSection> makePowerSensorsSections(const SnapshotBuilder::Parts& parts,
                                                    std::vector<BluetoothBatteries::Reading> peripherals);

// The text forms, one function per section.
void printBattery(const std::optional<BatteryStats>& stats, std::ostream& out);
void printGPU(const std::optional<GPUStats>& stats, std::ostream& out);
void printThermal(ThermalPressure pressure, std::ostream& out);
void printSensors(const std::optional<SensorStats>& stats, std::ostream& out);

}  // namespace orv::cli
