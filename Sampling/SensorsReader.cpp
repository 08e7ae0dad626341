#include "Sampling/SensorsReader.h"

#include "Sampling/SensorStatsMath.h"

namespace orv::SensorsReader {

std::optional<SensorStats> sample(std::span<const BluetoothBatteries::Reading> bluetooth) {
    auto hardware = readHardware();
    return SensorStatsMath::stats(hardware.temperatures, std::move(hardware.fans), bluetooth);
}

}  // namespace orv::SensorsReader
