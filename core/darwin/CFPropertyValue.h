#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>

#include "core/PropertyValue.h"

namespace orv {

// Converts a CoreFoundation property-list object (dictionary, array, string,
// number, boolean, data, date) into the portable tree. A dictionary entry
// whose key is not a string, or a value of another CF type, is left out.
std::optional<PropertyValue> propertyValueFromCF(CFTypeRef value);

}  // namespace orv
