// The thermal class: zones (temp, mode, trip points) and cooling devices
// (type, cur_state), and the pressure level made of them. A folder whose
// name starts with "cooling_device" is a cooling device, any other a zone.
#include <vector>

#include "Sampling/ThermalZoneMath.h"
#include "fuzz/AttributeFolder.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<orv::ThermalZone> zones;
    bool throttling = false;
    for (const auto& folder : orv::fuzz::AttributeFolder::decodeAll(orv::fuzz::text(data, size))) {
        if (!folder.name.starts_with("cooling_device")) {
            zones.push_back(orv::ThermalZoneMath::zone(folder.attributes));
            continue;
        }
        const std::string* type = orv::AttributeText::textAt(folder.attributes, "type");
        if (!type || !orv::ThermalZoneMath::throttlesProcessors(orv::AttributeText::trimmed(*type))) continue;
        if (orv::AttributeText::integerAt(folder.attributes, "cur_state").value_or(0) > 0) throttling = true;
    }
    (void)orv::ThermalZoneMath::pressure(zones, throttling);
    return 0;
}
