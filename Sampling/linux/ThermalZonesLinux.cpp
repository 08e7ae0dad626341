#include "Sampling/linux/ThermalZonesLinux.h"

#include <vector>

#include "PrivateAPIs/linux/AttributeDirectory.h"
#include "Sampling/ThermalReader.h"
#include "Sampling/ThermalZoneMath.h"

namespace orv {

ThermalPressure thermalPressure(const std::filesystem::path& root) {
    std::vector<ThermalZone> zones;
    bool throttling = false;
    for (const auto& entry : AttributeDirectory::entries(root / "sys/class/thermal")) {
        auto name = entry.filename().string();
        if (name.starts_with("thermal_zone")) {
            zones.push_back(ThermalZoneMath::zone(AttributeDirectory::readAll(entry)));
        } else if (name.starts_with("cooling_device") && !throttling) {
            auto type = AttributeDirectory::read(entry / "type");
            if (!type || !ThermalZoneMath::throttlesProcessors(*type)) continue;
            auto state = AttributeDirectory::read(entry / "cur_state");
            if (state && AttributeText::integer(*state).value_or(0) > 0) throttling = true;
        }
    }
    return ThermalZoneMath::pressure(zones, throttling);
}

ThermalPressure ThermalReader::currentPressure() { return thermalPressure("/"); }

}  // namespace orv
