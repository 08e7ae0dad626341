#pragma once

#include <boost/describe/class.hpp>
#include <optional>

#include "core/PropertyValue.h"
#include "core/RecordHash.h"

namespace orv {

// The weights that turn what a process did over one interval into a single
// energy-impact score. macOS keeps per-machine sets in its power-model
// property lists; `builtIn` stands in when none can be read.
struct EnergyCoefficients {
    double cpuTime = 0;           // per second of CPU time
    double cpuWakeups = 0;        // per wakeup
    double diskBytesRead = 0;     // per byte
    double diskBytesWritten = 0;  // per byte
    double gpuTime = 0;           // per second of GPU time

    static const EnergyCoefficients builtIn;

    // The "energy_constants" dictionary of a power-model property list.
    // Absent when the dictionary is empty or has no such sub-dictionary; a
    // key that is missing or not a number weighs 0, deliberately not the
    // built-in value, as the system's own reader treats it.
    static std::optional<EnergyCoefficients> fromPropertyList(const PropertyValue::Dictionary& dictionary);
    // The same for any value: absent unless it is a dictionary.
    static std::optional<EnergyCoefficients> fromPropertyList(const PropertyValue& value);

    // The score of one process over one interval. The quantities are the
    // process's increases over the interval, in the units the coefficients
    // were made for; `interval` is in the unit of the CPU and GPU times.
    // 0 for an empty (or NaN) interval; never negative.
    double energyImpact(double cpuTimeSpent, double wakeups, double bytesRead, double bytesWritten,
                        double gpuTimeSpent, double interval) const;

    friend bool operator==(const EnergyCoefficients&, const EnergyCoefficients&) = default;
};
BOOST_DESCRIBE_STRUCT(EnergyCoefficients, (), (cpuTime, cpuWakeups, diskBytesRead, diskBytesWritten, gpuTime))

inline constexpr EnergyCoefficients EnergyCoefficients::builtIn{1.0, 0.0002, 4.5e-10, 2.4e-10, 0.0};

}  // namespace orv
