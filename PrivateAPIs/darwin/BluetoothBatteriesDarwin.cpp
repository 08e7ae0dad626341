#include <memory>

#include "PrivateAPIs/BluetoothFramework.h"
#include "PrivateAPIs/darwin/ObjCRuntime.h"

namespace orv {

namespace {

// One IOBluetoothDevice, asked through the Objective-C runtime.
class IOBluetoothPairedDevice final : public PairedDevice {
public:
    explicit IOBluetoothPairedDevice(id device) : device_(device) {}

    bool isConnected() const override {
        return objc::respondsTo(device_, "isConnected") && objc::send<BOOL>(device_, "isConnected");
    }
    bool respondsTo(std::string_view key) const override { return objc::respondsTo(device_, std::string(key).c_str()); }
    std::optional<int64_t> integerValue(std::string_view key) const override {
        id value = objc::send<id, id>(device_, "valueForKey:", objc::string(std::string(key).c_str()));
        if (!objc::isKindOf(value, "NSNumber")) return std::nullopt;
        return static_cast<int64_t>(objc::send<long>(value, "integerValue"));
    }
    std::optional<std::string> addressString() const override { return text("addressString"); }
    std::optional<std::string> nameOrAddress() const override { return text("nameOrAddress"); }
    std::optional<uint32_t> classOfDevice() const override {
        if (!objc::respondsTo(device_, "classOfDevice")) return std::nullopt;
        return objc::send<uint32_t>(device_, "classOfDevice");  // BluetoothClassOfDevice
    }

private:
    std::optional<std::string> text(const char* selectorName) const {
        if (!objc::respondsTo(device_, selectorName)) return std::nullopt;
        return objc::utf8(objc::send<id>(device_, selectorName));
    }

    id device_;
};

class IOBluetoothFramework final : public BluetoothFramework {
public:
    bool declaresBluetoothUsage() override {
        id bundle = objc::send<id>(objc::classNamed("NSBundle"), "mainBundle");
        if (bundle == nullptr) return false;
        id value = objc::send<id, id>(bundle, "objectForInfoDictionaryKey:",
                                      objc::string("NSBluetoothAlwaysUsageDescription"));
        return value != nullptr;
    }

    int64_t authorization() override {
        // +[CBManager authorization] (macOS 10.15 and later).
        id manager = objc::classNamed("CBManager");
        if (manager == nullptr || !objc::respondsTo(manager, "authorization")) return 0;
        return static_cast<int64_t>(objc::send<long>(manager, "authorization"));
    }

    std::optional<std::vector<std::unique_ptr<PairedDevice>>> pairedDevices() override {
        id deviceClass = objc::classNamed("IOBluetoothDevice");
        if (deviceClass == nullptr) return std::nullopt;
        id list = objc::send<id>(deviceClass, "pairedDevices");
        if (!objc::isKindOf(list, "NSArray")) return std::nullopt;
        std::vector<std::unique_ptr<PairedDevice>> out;
        unsigned long count = objc::send<unsigned long>(list, "count");
        for (unsigned long i = 0; i < count; ++i) {
            id device = objc::send<id, unsigned long>(list, "objectAtIndex:", i);
            // A list with anything but devices in it is not trusted at all.
            if (!objc::isKindOf(device, "IOBluetoothDevice")) return std::nullopt;
            out.push_back(std::make_unique<IOBluetoothPairedDevice>(device));
        }
        return out;
    }
};

}  // namespace

namespace BluetoothBatteries {

std::vector<Reading> readings() {
    static const bool loaded =
        objc::loadFramework("/System/Library/Frameworks/Foundation.framework/Foundation") &&
        objc::loadFramework("/System/Library/Frameworks/IOBluetooth.framework/IOBluetooth") &&
        objc::loadFramework("/System/Library/Frameworks/CoreBluetooth.framework/CoreBluetooth");
    if (!loaded) return {};
    objc::AutoreleasePool pool;
    IOBluetoothFramework framework;
    return readings(framework);
}

}  // namespace BluetoothBatteries

}  // namespace orv
