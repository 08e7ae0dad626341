#include "PrivateAPIs/linux/PowerSupplyClass.h"

#include "PrivateAPIs/linux/AttributeDirectory.h"

namespace orv {

std::vector<PowerSupplyEntry> readPowerSupplies(const std::filesystem::path& root) {
    std::vector<PowerSupplyEntry> out;
    for (const auto& folder : AttributeDirectory::entries(root / "sys/class/power_supply")) {
        out.push_back({folder.filename().string(), AttributeDirectory::readAll(folder)});
    }
    return out;
}

}  // namespace orv
