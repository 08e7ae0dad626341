#pragma once

#include <boost/describe/class.hpp>
#include <boost/describe/enum.hpp>
#include <cstdint>
#include <optional>

#include "core/Duration.h"
#include "core/RecordHash.h"

namespace orv {

// The internal battery at one sample: charge, where the power comes from,
// how long it lasts, its health and what it delivers.
struct BatteryStats {
    enum class PowerSource { battery, ac };
    BOOST_DESCRIBE_NESTED_ENUM(PowerSource, battery, ac)

    double percent = 0;                            // 0 to 100
    bool isCharging = false;
    PowerSource source = PowerSource::battery;
    std::optional<Duration> timeRemaining;         // to empty on battery, to full on AC
    std::optional<int64_t> cycleCount;
    std::optional<double> maxCapacityPercent;      // full charge against design, at most 100
    std::optional<double> powerDrawWatts;          // taken from the battery

    friend bool operator==(const BatteryStats&, const BatteryStats&) = default;
};
BOOST_DESCRIBE_STRUCT(BatteryStats, (),
                      (percent, isCharging, source, timeRemaining, cycleCount, maxCapacityPercent, powerDrawWatts))

}  // namespace orv
