#include "Sampling/linux/SensorsReaderLinux.h"

#include "PrivateAPIs/linux/HwmonClass.h"
#include "Sampling/SensorStatsMath.h"
#include "Sampling/linux/FanReaderLinux.h"

namespace orv {

SensorsReader::Hardware readHwmonHardware(const std::filesystem::path& root, size_t* filesRead) {
    SensorsReader::Hardware out;
    auto chips = readHwmonChips(root, filesRead);
    if (!chips) return out;
    out.temperatures =
        hwmonTemperatures(*chips, SensorStatsMath::temperaturePrefix, SensorStatsMath::temperatureLimit);
    out.fans = fanReadings(*chips);
    return out;
}

SensorsReader::Hardware SensorsReader::readHardware() { return readHwmonHardware("/"); }

}  // namespace orv
