#include "PrivateAPIs/BluetoothBatteries.h"

namespace orv::BluetoothBatteries {

std::optional<Reading> reading(const std::optional<std::string>& address,
                               const std::optional<std::string>& nameOrAddress,
                               const std::array<std::optional<int64_t>, 4>& rawLevels) {
    std::array<std::optional<int64_t>, 4> levels;
    bool any = false;
    for (size_t i = 0; i < rawLevels.size(); ++i) {
        // 0 is what a disconnected unit reports, above 100 a placeholder.
        if (rawLevels[i] && *rawLevels[i] >= 1 && *rawLevels[i] <= 100) {
            levels[i] = rawLevels[i];
            any = true;
        }
    }
    if (!any) return std::nullopt;
    Reading out;
    out.address = address ? *address : nameOrAddress ? *nameOrAddress : "?";
    out.name = nameOrAddress ? *nameOrAddress : "Bluetooth device";
    out.single = levels[0];
    out.left = levels[1];
    out.right = levels[2];
    out.caseLevel = levels[3];
    return out;
}

}  // namespace orv::BluetoothBatteries

#include "PrivateAPIs/BluetoothFramework.h"

namespace orv::BluetoothBatteries {

std::vector<Reading> readings(BluetoothFramework& framework) {
    std::vector<Reading> out;
    if (!framework.declaresBluetoothUsage()) return out;
    if (framework.authorization() != BluetoothFramework::allowedAlways) return out;
    auto devices = framework.pairedDevices();
    if (!devices) return out;
    for (const auto& device : *devices) {
        if (!device->isConnected()) continue;
        std::array<std::optional<int64_t>, 4> raw;
        for (size_t i = 0; i < levelKeys.size(); ++i) {
            if (device->respondsTo(levelKeys[i])) raw[i] = device->integerValue(levelKeys[i]);
        }
        auto r = reading(device->addressString(), device->nameOrAddress(), raw);
        if (!r) continue;
        r->classOfDevice = device->classOfDevice();
        out.push_back(std::move(*r));
    }
    return out;
}

}  // namespace orv::BluetoothBatteries
