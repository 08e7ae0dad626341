#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "PrivateAPIs/AttributeText.h"

namespace orv {

// One chip of the kernel's hwmon class (Documentation/hwmon/sysfs-interface):
// the device it belongs to, its "name" and the attributes of its sensors.
struct HwmonChip {
    // The device's own name ("nvme0", "coretemp.1", "nct6775.656"), or the
    // chip's folder name when it has no device: what tells two chips of
    // one name apart.
    std::string device;
    // Where the device sits (its path below /sys/devices), which does not
    // change from boot to boot as hwmonN numbers do.
    std::string deviceKey;
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

// The attributes a pass reads: "name", tempN_input, tempN_label, fanN_input,
// fanN_min and fanN_max. Others (voltages, currents, PWM, alarms) are
// never opened: some drivers wake an embedded controller or a firmware
// handler for every read.
bool isRead(std::string_view attribute);

// tempN_input (millidegrees Celsius) in ascending N; unreadable inputs are left out.
std::vector<Temperature> temperatures(const HwmonChip& chip);

// Every chip's temperatures, in chip order. Where several chips share a
// name (two NVMe drives, two sockets' coretemp) each of their sensors is
// named "<chip> <label> (<device>)", so that none hides another.
std::vector<Temperature> temperatures(std::span<const HwmonChip> chips);

// fanN_input, fanN_min and fanN_max (RPM) in ascending N.
std::vector<Fan> fans(const HwmonChip& chip);

}  // namespace HwmonDecoding

}  // namespace orv
