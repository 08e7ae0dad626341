#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "Sampling/BatteryPort.h"

namespace orv {

// How often each power_supply attribute was opened, by attribute name.
struct BatteryPortLinuxReads {
    std::map<std::string, size_t, std::less<>> byAttribute;
    size_t count(std::string_view attribute) const {
        auto it = byAttribute.find(attribute);
        return it == byAttribute.end() ? 0 : it->second;
    }
};

// The battery port over <root>/sys/class/power_supply: every present
// system battery, combined (PowerSupplyDecoding). Each read opens only the
// attributes it needs, so that the health cache spares the health
// attributes' reads; `reads`, when given, counts them.
std::unique_ptr<BatteryPort> makeBatteryPort(const std::filesystem::path& root, BatteryPortLinuxReads* reads = nullptr);

}  // namespace orv
