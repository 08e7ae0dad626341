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
        if (address && seen.contains(*address)) continue;
        auto text = [&](std::string_view key) -> std::optional<std::string> {
            const std::string* value = AttributeText::textAt(entry.attributes, key);
            if (value == nullptr || value->empty()) return std::nullopt;
            return *value;
        };
        auto id = address ? address : text("serial_number") ? text("serial_number") : std::optional(entry.name);
        auto model = text("model_name");
        auto nameOrAddress = model ? model : address ? address : std::optional(entry.name);
        auto level = AttributeText::integerAt(entry.attributes, "capacity");
        if (!level) {
            if (auto named = text("capacity_level")) level = percentOfLevel(*named);
        }
        auto reading = BluetoothBatteries::reading(id, nameOrAddress, {level, {}, {}, {}});
        if (!reading) continue;
        if (address) seen.insert(*address);
        out.push_back(std::move(*reading));
    }
    return out;
}

std::optional<int64_t> percentOfLevel(std::string_view level) {
    if (level == "Full") return 100;
    if (level == "High") return 70;
    if (level == "Normal") return 55;
    if (level == "Low") return 10;
    if (level == "Critical") return 5;
    return std::nullopt;
}

}  // namespace orv::BlueZDevices
