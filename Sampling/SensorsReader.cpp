#include "Sampling/SensorsReader.h"

#include "PrivateAPIs/HIDTemperatures.h"
#include "Sampling/FanReader.h"
#include "Sampling/SensorStatsMath.h"

namespace orv::SensorsReader {

std::optional<SensorStats> sample(std::span<const BluetoothBatteries::Reading> bluetooth) {
    auto temperatures = HIDTemperatures::read(SensorStatsMath::temperaturePrefix, SensorStatsMath::temperatureLimit);
    return SensorStatsMath::stats(temperatures, FanReader::readings(), bluetooth);
}

}  // namespace orv::SensorsReader
