#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>

#include "core/Date.h"
#include "core/RecordHash.h"

namespace orv {

// One day of the battery log: its health and cycle count that day (when the
// battery reports them) and how long the machine ran on it.
struct BatteryDay {
    Date day;  // the day's local midnight
    std::optional<double> maxCapacityPercent;
    std::optional<int64_t> cycleCount;
    double minutesOnBattery = 0;

    friend bool operator==(const BatteryDay&, const BatteryDay&) = default;
};
BOOST_DESCRIBE_STRUCT(BatteryDay, (), (day, maxCapacityPercent, cycleCount, minutesOnBattery))

}  // namespace orv
