#pragma once

#include <boost/describe/class.hpp>
#include <vector>

#include "core/FanReading.h"
#include "core/PeripheralBattery.h"
#include "core/RecordHash.h"
#include "core/TemperatureReading.h"

namespace orv {

// Temperatures, fans and peripheral batteries of one sample.
struct SensorStats {
    std::vector<TemperatureReading> temperatures;
    std::vector<FanReading> fans;
    std::vector<PeripheralBattery> peripherals;

    friend bool operator==(const SensorStats&, const SensorStats&) = default;
};
BOOST_DESCRIBE_STRUCT(SensorStats, (), (temperatures, fans, peripherals))

}  // namespace orv
