#include "PrivateAPIs/BlueZDevices.h"

#include <cctype>
#include <set>

#include "core/TextDecoding.h"

namespace orv::BlueZDevices {

namespace {

std::string upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

}  // namespace

std::optional<std::string> addressInName(std::string_view name) {
    constexpr size_t length = 17;  // six hex pairs and five colons
    for (size_t start = 0; start + length <= name.size(); ++start) {
        bool matches = true;
        for (size_t i = 0; i < length && matches; ++i) {
            char c = name[start + i];
            matches = (i % 3 == 2) ? c == ':' : TextDecoding::hexDigitValue(c) >= 0;
        }
        if (matches) return upper(std::string(name.substr(start, length)));
    }
    return std::nullopt;
}

std::vector<BluetoothBatteries::Reading> readings(std::span<const BlueZDevice> devices,
                                                  std::span<const PowerSupplyEntry> powerSupplies) {
    std::vector<BluetoothBatteries::Reading> out;
    std::set<std::string> seen;
    for (const BlueZDevice& device : devices) {
        if (!device.connected) continue;
        auto address = device.address ? std::optional(upper(*device.address)) : std::nullopt;
        if (address && seen.contains(*address)) continue;
        auto nameOrAddress = device.alias ? device.alias : address;
        auto reading = BluetoothBatteries::reading(address, nameOrAddress, {device.percentage, {}, {}, {}});
        if (!reading) continue;
        reading->classOfDevice = device.classOfDevice;
        reading->icon = device.icon;
        if (address) seen.insert(*address);
        out.push_back(std::move(*reading));
    }
    for (const PowerSupplyEntry& entry : powerSupplies) {
        const std::string* scope = AttributeText::textAt(entry.attributes, "scope");
        if (scope == nullptr || *scope != "Device") continue;
        auto address = addressInName(entry.name);
        if (!address || seen.contains(*address)) continue;
        const std::string* model = AttributeText::textAt(entry.attributes, "model_name");
        auto nameOrAddress = model != nullptr && !model->empty() ? std::optional(*model) : address;
        auto level = AttributeText::integerAt(entry.attributes, "capacity");
        auto reading = BluetoothBatteries::reading(address, nameOrAddress, {level, {}, {}, {}});
        if (!reading) continue;
        seen.insert(*address);
        out.push_back(std::move(*reading));
    }
    return out;
}

}  // namespace orv::BlueZDevices
