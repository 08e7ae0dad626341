#include "Sampling/linux/BatteryPortLinux.h"

#include <optional>
#include <string>

#include "PrivateAPIs/linux/AttributeDirectory.h"
#include "PrivateAPIs/linux/PowerSupplyClass.h"
#include "Sampling/PowerSupplyDecoding.h"

namespace orv {

namespace {

class BatteryPortLinux final : public BatteryPort {
public:
    explicit BatteryPortLinux(std::filesystem::path root) : root_(std::move(root)) {}

    std::optional<std::vector<PropertyValue>> powerSourceDescriptions() override {
        auto supplies = readPowerSupplies(root_);
        std::vector<PropertyValue> out;
        if (const PowerSupplyEntry* battery = PowerSupplyDecoding::systemBattery(supplies)) {
            out.emplace_back(
                PowerSupplyDecoding::description(*battery, PowerSupplyDecoding::externalPowerOnline(supplies)));
        }
        return out;
    }

    // The "service" is the system battery's folder, found once and kept.
    bool holdSmartBattery() override {
        auto supplies = readPowerSupplies(root_);
        const PowerSupplyEntry* battery = PowerSupplyDecoding::systemBattery(supplies);
        if (battery == nullptr) return false;
        held_ = root_ / "sys/class/power_supply" / battery->name;
        return true;
    }
    bool holdsSmartBattery() const override { return held_.has_value(); }
    void releaseSmartBattery() override { held_.reset(); }

    PropertyValue::Dictionary readSmartBattery(std::span<const std::string_view> keys) override {
        PropertyValue::Dictionary out;
        if (!held_) return out;
        PowerSupplyEntry battery{held_->filename().string(), AttributeDirectory::readAll(*held_)};
        auto all = PowerSupplyDecoding::smartBattery(battery);
        for (std::string_view key : keys) {
            if (auto it = all.find(key); it != all.end()) out.emplace(it->first, it->second);
        }
        return out;
    }

private:
    std::filesystem::path root_;
    std::optional<std::filesystem::path> held_;
};

}  // namespace

std::unique_ptr<BatteryPort> makeBatteryPort(const std::filesystem::path& root) {
    return std::make_unique<BatteryPortLinux>(root);
}

std::unique_ptr<BatteryPort> makeBatteryPort() { return makeBatteryPort("/"); }

}  // namespace orv
