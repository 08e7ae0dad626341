// The power_supply class's attributes, and the battery figures made of them.
#include <vector>

#include "Sampling/BatteryMath.h"
#include "Sampling/PowerSupplyDecoding.h"
#include "fuzz/AttributeFolder.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    namespace decoding = orv::PowerSupplyDecoding;
    std::vector<orv::PowerSupplyEntry> entries;
    for (auto& folder : orv::fuzz::AttributeFolder::decodeAll(orv::fuzz::text(data, size))) {
        entries.push_back({std::move(folder.name), std::move(folder.attributes)});
    }
    const bool external = decoding::externalPowerOnline(entries);
    if (const auto* battery = decoding::systemBattery(entries)) {
        orv::PropertyValue description(decoding::description(*battery, external));
        orv::PropertyValue smart(decoding::smartBattery(*battery));
        (void)orv::BatteryMath::stats(description, &smart);
        (void)orv::BatteryMath::maxCapacityPercent(smart);
        (void)orv::BatteryMath::powerDrawWatts(smart, external);
    }
    std::vector<orv::PowerSupplyEntry> packs;
    for (const auto* pack : decoding::systemBatteries(entries)) packs.push_back(*pack);
    if (!packs.empty()) {
        orv::PropertyValue description(decoding::description(packs, external));
        orv::PropertyValue smart(decoding::smartBattery(packs));
        (void)orv::BatteryMath::stats(description, &smart);
        (void)orv::BatteryMath::maxCapacityPercent(smart);
        (void)orv::BatteryMath::powerDrawWatts(smart, external);
    }
    return 0;
}
