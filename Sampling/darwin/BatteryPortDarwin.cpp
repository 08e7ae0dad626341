#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/ps/IOPowerSources.h>

#include "Sampling/BatteryPort.h"
#include "Sampling/darwin/IOObjectRef.h"
#include "core/darwin/CFPropertyValue.h"
#include "core/darwin/CFRef.h"

namespace orv {

namespace {

// The power-source list of IOKit's power-sources interface and the
// AppleSmartBattery registry service: only the calls, the rules are portable.
class BatteryPortDarwin final : public BatteryPort {
public:
    BatteryPortDarwin() : matching_(IOServiceMatching("AppleSmartBattery")) {}

    std::optional<std::vector<PropertyValue>> powerSourceDescriptions() override {
        CFRef<CFTypeRef> info(IOPSCopyPowerSourcesInfo());
        if (!info) return std::nullopt;
        CFRef<CFArrayRef> list(IOPSCopyPowerSourcesList(info.get()));
        if (!list) return std::nullopt;
        std::vector<PropertyValue> out;
        CFIndex count = CFArrayGetCount(list.get());
        for (CFIndex i = 0; i < count; ++i) {
            // A Get call: the description belongs to `info`.
            CFDictionaryRef description = IOPSGetPowerSourceDescription(info.get(), CFArrayGetValueAtIndex(list.get(), i));
            auto value = propertyValueFromCF(description);
            out.push_back(value ? std::move(*value) : PropertyValue());
        }
        return out;
    }

    bool holdSmartBattery() override {
        if (!matching_) return false;
        // IOServiceGetMatchingService consumes a reference; the dictionary is kept for later searches.
        CFRetain(matching_.get());
        service_ = IOObjectRef(IOServiceGetMatchingService(kIOMainPortDefault, matching_.get()));
        return static_cast<bool>(service_);
    }
    bool holdsSmartBattery() const override { return static_cast<bool>(service_); }
    void releaseSmartBattery() override { service_.reset(); }

    PropertyValue::Dictionary readSmartBattery(std::span<const std::string_view> keys) override {
        PropertyValue::Dictionary out;
        if (!service_) return out;
        for (std::string_view key : keys) {
            std::string name(key);
            CFRef<CFStringRef> cfKey(CFStringCreateWithCString(kCFAllocatorDefault, name.c_str(), kCFStringEncodingUTF8));
            if (!cfKey) continue;
            CFRef<CFTypeRef> value(IORegistryEntryCreateCFProperty(service_.get(), cfKey.get(), kCFAllocatorDefault, 0));
            if (!value) continue;
            if (auto converted = propertyValueFromCF(value.get())) out.emplace(std::move(name), std::move(*converted));
        }
        return out;
    }

private:
    CFRef<CFMutableDictionaryRef> matching_;
    IOObjectRef service_;
};

}  // namespace

std::unique_ptr<BatteryPort> makeBatteryPort() { return std::make_unique<BatteryPortDarwin>(); }

}  // namespace orv
