#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "PrivateAPIs/AttributeText.h"

namespace orv {

// One chip of the kernel's hwmon class (Documentation/hwmon/sysfs-interface):
// its "name" and the attributes of its sensors.
struct HwmonChip {
    AttributeText::Attributes attributes;
};

namespace HwmonDecoding {

struct Temperature {
    std::string name;  // "<chip> <label>", or "<chip> <N>" without a label
    double celsius = 0;
};

struct Fan {
    int64_t index = 0;  // N of fanN_input
    double rpm = 0;
    std::optional<double> minRPM;
    std::optional<double> maxRPM;
};

// tempN_input (millidegrees Celsius) in ascending N; unreadable inputs are left out.
std::vector<Temperature> temperatures(const HwmonChip& chip);

// fanN_input, fanN_min and fanN_max (RPM) in ascending N.
std::vector<Fan> fans(const HwmonChip& chip);

}  // namespace HwmonDecoding

}  // namespace orv
