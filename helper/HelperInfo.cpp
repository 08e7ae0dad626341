#include "helper/HelperInfo.h"

#include "core/PropertyList.h"

namespace orv::HelperInfo {

std::optional<PropertyValue> parse(std::span<const uint8_t> bytes) {
    auto value = PropertyList::parse(bytes);
    if (!value || !value->dictionary()) return std::nullopt;
    return value;
}

std::optional<std::string> stringValue(const std::optional<PropertyValue>& info, std::string_view key) {
    if (!info) return std::nullopt;
    const PropertyValue* value = info->find(key);
    if (!value || !value->string()) return std::nullopt;
    return *value->string();
}

}  // namespace orv::HelperInfo
