#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include "Sampling/GPUPort.h"
#include "Sampling/darwin/IOObjectRef.h"
#include "core/darwin/CFPropertyValue.h"
#include "core/darwin/CFRef.h"

namespace orv {

namespace {

// The first IOAccelerator that publishes "PerformanceStatistics", and its
// user clients: only the registry calls, the rules are portable.
class GPUPortDarwin final : public GPUPort {
public:
    GPUPortDarwin() : matching_(IOServiceMatching("IOAccelerator")) {}

    std::optional<Device> holdDevice() override {
        if (!matching_) return std::nullopt;
        io_iterator_t iterator = IO_OBJECT_NULL;
        CFRetain(matching_.get());  // consumed by the call; kept for later searches
        if (IOServiceGetMatchingServices(kIOMainPortDefault, matching_.get(), &iterator) != KERN_SUCCESS) {
            return std::nullopt;
        }
        IOObjectRef services(iterator);
        while (io_object_t next = IOIteratorNext(services.get())) {
            IOObjectRef service(next);
            CFRef<CFTypeRef> statistics(property(service.get(), CFSTR("PerformanceStatistics")));
            if (!statistics) continue;
            Device device;
            CFRef<CFTypeRef> model(property(service.get(), CFSTR("model")));
            if (auto value = propertyValueFromCF(model.get()); value && value->string() != nullptr) {
                device.model = *value->string();
            }
            accelerator_ = std::move(service);
            return device;
        }
        return std::nullopt;
    }

    bool holdsDevice() const override { return static_cast<bool>(accelerator_); }
    void releaseDevice() override { accelerator_.reset(); }

    std::optional<PropertyValue> performanceStatistics() override {
        if (!accelerator_) return std::nullopt;
        CFRef<CFTypeRef> statistics(property(accelerator_.get(), CFSTR("PerformanceStatistics")));
        return propertyValueFromCF(statistics.get());
    }

    std::vector<PropertyValue> clientProperties() override {
        std::vector<PropertyValue> out;
        io_iterator_t iterator = IO_OBJECT_NULL;
        if (!accelerator_ ||
            IORegistryEntryGetChildIterator(accelerator_.get(), kIOServicePlane, &iterator) != KERN_SUCCESS) {
            return out;
        }
        IOObjectRef children(iterator);
        while (io_object_t next = IOIteratorNext(children.get())) {
            IOObjectRef child(next);
            CFMutableDictionaryRef raw = nullptr;
            if (IORegistryEntryCreateCFProperties(child.get(), &raw, kCFAllocatorDefault, 0) != KERN_SUCCESS) continue;
            CFRef<CFMutableDictionaryRef> properties(raw);
            if (auto value = propertyValueFromCF(properties.get())) out.push_back(std::move(*value));
        }
        return out;
    }

private:
    static CFTypeRef property(io_registry_entry_t entry, CFStringRef key) {
        return IORegistryEntryCreateCFProperty(entry, key, kCFAllocatorDefault, 0);
    }

    CFRef<CFMutableDictionaryRef> matching_;
    IOObjectRef accelerator_;
};

}  // namespace

std::unique_ptr<GPUPort> makeGPUPort() { return std::make_unique<GPUPortDarwin>(); }

}  // namespace orv
