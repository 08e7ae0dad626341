#include "Sampling/VolumeNameOrder.h"

#include <CoreFoundation/CoreFoundation.h>

#include "core/darwin/CFRef.h"

namespace orv {

bool VolumeNameOrder::less(std::string_view a, std::string_view b) {
    CFRef<CFStringRef> first(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(a.data()),
                                                     CFIndex(a.size()), kCFStringEncodingUTF8, false));
    CFRef<CFStringRef> second(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(b.data()),
                                                      CFIndex(b.size()), kCFStringEncodingUTF8, false));
    if (!first || !second) return a < b;
    // The options behind Foundation's localizedStandardCompare: the order
    // the Finder sorts names in.
    const CFStringCompareFlags options = kCFCompareCaseInsensitive | kCFCompareNumerically | kCFCompareLocalized |
                                         kCFCompareWidthInsensitive | kCFCompareForcedOrdering;
    return CFStringCompare(first.get(), second.get(), options) == kCFCompareLessThan;
}

}  // namespace orv
