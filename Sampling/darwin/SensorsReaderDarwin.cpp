#include "Sampling/FanReader.h"
#include "Sampling/SensorStatsMath.h"
#include "Sampling/SensorsReader.h"

namespace orv {

SensorsReader::Hardware SensorsReader::readHardware() {
    return {HIDTemperatures::read(SensorStatsMath::temperaturePrefix, SensorStatsMath::temperatureLimit),
            FanReader::readings()};
}

}  // namespace orv
