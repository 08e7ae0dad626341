#include <CoreFoundation/CoreFoundation.h>

#include "core/PropertyList.h"
#include "core/darwin/CFPropertyValue.h"
#include "core/darwin/CFRef.h"

namespace orv {

std::optional<PropertyValue> PropertyList::parse(std::span<const uint8_t> bytes) {
    if (bytes.empty()) return std::nullopt;
    CFRef<CFDataRef> data(CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
    if (!data) return std::nullopt;
    CFRef<CFPropertyListRef> plist(
        CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
    if (!plist) return std::nullopt;
    return propertyValueFromCF(plist.get());
}

}  // namespace orv
