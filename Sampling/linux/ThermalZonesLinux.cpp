#include "Sampling/linux/ThermalZonesLinux.h"

#include <vector>

#include "PrivateAPIs/linux/AttributeDirectory.h"
#include "Sampling/ThermalReader.h"
#include "Sampling/ThermalZoneMath.h"

namespace orv {

ThermalPressure thermalPressure(const std::filesystem::path& root) {
    std::vector<ThermalZone> zones;
    bool cooling = false;
    for (const auto& entry : AttributeDirectory::entries(root / "sys/class/thermal")) {
        auto name = entry.filename().string();
        if (name.starts_with("thermal_zone")) {
            zones.push_back(ThermalZoneMath::zone(AttributeDirectory::readAll(entry)));
        } else if (name.starts_with("cooling_device")) {
            auto state = AttributeDirectory::read(entry / "cur_state");
            if (state && AttributeText::integer(*state).value_or(0) > 0) cooling = true;
        }
    }
    return ThermalZoneMath::pressure(zones, cooling);
}

ThermalPressure ThermalReader::currentPressure() { return thermalPressure("/"); }

}  // namespace orv
