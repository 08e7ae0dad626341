// A command-line program's main bundle takes its Info dictionary from the
// __TEXT,__info_plist section that the link step wrote.
#include <CoreFoundation/CoreFoundation.h>

#include "core/darwin/CFPropertyValue.h"
#include "helper/HelperInfo.h"

namespace orv::HelperInfo {

std::optional<PropertyValue> load() {
    CFBundleRef bundle = CFBundleGetMainBundle();  // a Get: not ours to release
    if (!bundle) return std::nullopt;
    CFDictionaryRef info = CFBundleGetInfoDictionary(bundle);
    if (!info) return std::nullopt;
    return propertyValueFromCF(info);
}

}  // namespace orv::HelperInfo
