#include "Sampling/EnergyCoefficients.h"

#include <cmath>
#include <string_view>

namespace orv {

namespace {

// Keys of the "energy_constants" dictionary in the system's power-model files.
constexpr std::string_view energyConstantsKey = "energy_constants";
constexpr std::string_view cpuTimeKey = "kcpu_time";
constexpr std::string_view cpuWakeupsKey = "kcpu_wakeups";
constexpr std::string_view diskBytesReadKey = "kdiskio_bytesread";
constexpr std::string_view diskBytesWrittenKey = "kdiskio_byteswritten";
constexpr std::string_view gpuTimeKey = "kgpu_time";

double weight(const PropertyValue::Dictionary& constants, std::string_view key) {
    auto found = constants.find(key);
    if (found == constants.end()) return 0.0;
    return found->second.number().value_or(0.0);
}

}  // namespace

std::optional<EnergyCoefficients> EnergyCoefficients::fromPropertyList(const PropertyValue::Dictionary& dictionary) {
    if (dictionary.empty()) return std::nullopt;
    auto found = dictionary.find(energyConstantsKey);
    if (found == dictionary.end()) return std::nullopt;
    const auto* constants = found->second.dictionary();
    if (constants == nullptr) return std::nullopt;
    return EnergyCoefficients{
        weight(*constants, cpuTimeKey),
        weight(*constants, cpuWakeupsKey),
        weight(*constants, diskBytesReadKey),
        weight(*constants, diskBytesWrittenKey),
        weight(*constants, gpuTimeKey),
    };
}

std::optional<EnergyCoefficients> EnergyCoefficients::fromPropertyList(const PropertyValue& value) {
    const auto* dictionary = value.dictionary();
    if (dictionary == nullptr) return std::nullopt;
    return fromPropertyList(*dictionary);
}

double EnergyCoefficients::energyImpact(double cpuTimeSpent, double wakeups, double bytesRead, double bytesWritten,
                                        double gpuTimeSpent, double interval) const {
    // `!(interval > 0)` also catches NaN.
    if (!(interval > 0)) return 0.0;
    // Always summed in the same order, so that one process's score is the
    // same to the last bit wherever it is computed.
    double weighted = cpuTimeSpent * cpuTime;
    weighted += wakeups * cpuWakeups;
    weighted += bytesRead * diskBytesRead;
    weighted += bytesWritten * diskBytesWritten;
    weighted += gpuTimeSpent * gpuTime;
    double impact = weighted / interval * 100.0;
    if (!(impact >= 0)) return 0.0;
    return impact;
}

}  // namespace orv
