#include "Sampling/linux/BatteryPortLinux.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "PrivateAPIs/linux/AttributeDirectory.h"
#include "Sampling/BatteryMath.h"
#include "Sampling/PowerSupplyDecoding.h"

namespace orv {

namespace {

class BatteryPortLinux final : public BatteryPort {
public:
    BatteryPortLinux(std::filesystem::path root, BatteryPortLinuxReads* reads)
        : folder_(std::move(root) / "sys/class/power_supply"), reads_(reads) {}

    std::optional<std::vector<PropertyValue>> powerSourceDescriptions() override {
        auto supplies = kinds();
        std::vector<PowerSupplyEntry> batteries;
        for (const PowerSupplyEntry* battery : PowerSupplyDecoding::systemBatteries(supplies)) {
            PowerSupplyEntry entry = *battery;
            read(entry, PowerSupplyDecoding::descriptionAttributes);
            batteries.push_back(std::move(entry));
        }
        std::vector<PropertyValue> out;
        if (!batteries.empty()) {
            out.emplace_back(
                PowerSupplyDecoding::description(batteries, PowerSupplyDecoding::externalPowerOnline(supplies)));
        }
        return out;
    }

    // The "service" is the system batteries' folders, found once and kept.
    bool holdSmartBattery() override {
        auto supplies = kinds();
        std::vector<PowerSupplyEntry> held;
        for (const PowerSupplyEntry* battery : PowerSupplyDecoding::systemBatteries(supplies)) held.push_back(*battery);
        if (held.empty()) return false;
        held_ = std::move(held);
        return true;
    }
    bool holdsSmartBattery() const override { return held_.has_value(); }
    void releaseSmartBattery() override { held_.reset(); }

    PropertyValue::Dictionary readSmartBattery(std::span<const std::string_view> keys) override {
        PropertyValue::Dictionary out;
        if (!held_) return out;
        auto wants = [&](std::initializer_list<std::string_view> any) {
            return std::any_of(keys.begin(), keys.end(),
                               [&](std::string_view k) { return std::find(any.begin(), any.end(), k) != any.end(); });
        };
        std::vector<PowerSupplyEntry> batteries;
        for (const PowerSupplyEntry& kind : *held_) {
            PowerSupplyEntry entry = kind;
            if (wants({BatteryMath::cycleCountKey, BatteryMath::nominalChargeCapacityKey,
                       BatteryMath::designCapacityKey})) {
                read(entry, PowerSupplyDecoding::healthAttributes);
            }
            if (wants({BatteryMath::amperageKey, BatteryMath::voltageKey})) {
                read(entry, PowerSupplyDecoding::liveAttributes);
            }
            batteries.push_back(std::move(entry));
        }
        auto all = PowerSupplyDecoding::smartBattery(batteries);
        for (std::string_view key : keys) {
            if (auto it = all.find(key); it != all.end()) out.emplace(it->first, it->second);
        }
        return out;
    }

private:
    // Every entry with only what tells its kind.
    std::vector<PowerSupplyEntry> kinds() {
        std::vector<PowerSupplyEntry> out;
        for (const auto& folder : AttributeDirectory::entries(folder_)) {
            PowerSupplyEntry entry{folder.filename().string(), {}};
            read(entry, PowerSupplyDecoding::kindAttributes);
            out.push_back(std::move(entry));
        }
        return out;
    }

    void read(PowerSupplyEntry& entry, std::span<const std::string_view> attributes) {
        for (std::string_view attribute : attributes) {
            if (entry.attributes.contains(std::string(attribute))) continue;
            auto path = folder_ / entry.name / attribute;
            std::error_code error;
            if (!std::filesystem::is_regular_file(path, error)) continue;
            if (reads_ != nullptr) ++reads_->byAttribute[std::string(attribute)];
            if (auto text = AttributeDirectory::read(path)) entry.attributes.emplace(attribute, std::move(*text));
        }
    }

    std::filesystem::path folder_;
    BatteryPortLinuxReads* reads_;
    std::optional<std::vector<PowerSupplyEntry>> held_;
};

}  // namespace

std::unique_ptr<BatteryPort> makeBatteryPort(const std::filesystem::path& root, BatteryPortLinuxReads* reads) {
    return std::make_unique<BatteryPortLinux>(root, reads);
}

std::unique_ptr<BatteryPort> makeBatteryPort() { return makeBatteryPort("/"); }

}  // namespace orv
