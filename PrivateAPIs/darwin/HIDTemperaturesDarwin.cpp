#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

#include "PrivateAPIs/HIDSymbolTable.h"
#include "PrivateAPIs/HIDTemperatures.h"
#include "core/darwin/CFPropertyValue.h"
#include "core/darwin/CFRef.h"

namespace orv::HIDTemperatures {

namespace {

// The event-system client functions as the running system exports them;
// none is in a public header.
using ClientCreate = CFTypeRef (*)(CFAllocatorRef allocator);
using ClientSetMatching = int (*)(CFTypeRef client, CFDictionaryRef matching);
using ClientCopyServices = CFArrayRef (*)(CFTypeRef client);
using ServiceCopyProperty = CFTypeRef (*)(CFTypeRef service, CFStringRef key);
using ServiceCopyEvent = CFTypeRef (*)(CFTypeRef service, int64_t type, int32_t options, int64_t timestamp);
using EventGetFloatValue = double (*)(CFTypeRef event, int32_t field);

// The vendor page and usage of temperature sensors, the temperature event
// type, and its level field (the type shifted into the upper half).
constexpr int32_t vendorUsagePage = 0xff00;
constexpr int32_t temperatureUsage = 5;
constexpr int64_t temperatureEventType = 15;
constexpr int32_t temperatureLevelField = 15 << 16;

template <class F>
F at(const HIDSymbolTable::Symbols& symbols, size_t index) {
    return reinterpret_cast<F>(symbols[index]);
}

CFRef<CFDictionaryRef> temperatureMatching() {
    CFRef<CFNumberRef> page(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &vendorUsagePage));
    CFRef<CFNumberRef> usage(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &temperatureUsage));
    const void* keys[] = {CFSTR("PrimaryUsagePage"), CFSTR("PrimaryUsage")};
    const void* values[] = {page.get(), usage.get()};
    return CFRef<CFDictionaryRef>(CFDictionaryCreate(kCFAllocatorDefault, keys, values, 2,
                                                     &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

}  // namespace

bool isAvailable() { return HIDSymbolTable::shared().symbols() != nullptr; }

std::optional<Readings> read(std::string_view prefix, int64_t limit) {
    const HIDSymbolTable::Symbols* symbols = HIDSymbolTable::shared().symbols();
    if (symbols == nullptr) return std::nullopt;
    CFRef<CFTypeRef> client(at<ClientCreate>(*symbols, 0)(kCFAllocatorDefault));
    if (!client) return std::nullopt;

    auto matching = temperatureMatching();
    if (matching) at<ClientSetMatching>(*symbols, 1)(client.get(), matching.get());
    CFRef<CFArrayRef> services(at<ClientCopyServices>(*symbols, 2)(client.get()));
    if (!services || CFGetTypeID(services.get()) != CFArrayGetTypeID()) return Readings{};

    auto serviceAt = [&](size_t i) { return static_cast<CFTypeRef>(CFArrayGetValueAtIndex(services.get(), CFIndex(i))); };
    return select(
        static_cast<size_t>(CFArrayGetCount(services.get())),
        [&](size_t i) -> std::optional<std::string> {
            CFRef<CFTypeRef> product(at<ServiceCopyProperty>(*symbols, 3)(serviceAt(i), CFSTR("Product")));
            auto value = propertyValueFromCF(product.get());
            if (!value || value->string() == nullptr) return std::nullopt;
            return *value->string();
        },
        [&](size_t i) -> std::optional<double> {
            CFRef<CFTypeRef> event(at<ServiceCopyEvent>(*symbols, 4)(serviceAt(i), temperatureEventType, 0, 0));
            if (!event) return std::nullopt;
            return at<EventGetFloatValue>(*symbols, 5)(event.get(), temperatureLevelField);
        },
        prefix, limit);
}

}  // namespace orv::HIDTemperatures
