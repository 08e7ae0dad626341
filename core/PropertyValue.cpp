#include "core/PropertyValue.h"

namespace orv {

std::optional<bool> PropertyValue::boolean() const {
    if (auto* b = std::get_if<bool>(&storage_)) return *b;
    return std::nullopt;
}

std::optional<int64_t> PropertyValue::integer() const {
    if (auto* i = std::get_if<Integer>(&storage_)) return i->bits;
    return std::nullopt;
}

std::optional<uint64_t> PropertyValue::unsignedInteger() const {
    if (auto* i = std::get_if<Integer>(&storage_)) return static_cast<uint64_t>(i->bits);
    return std::nullopt;
}

std::optional<double> PropertyValue::number() const {
    if (auto* i = std::get_if<Integer>(&storage_)) return static_cast<double>(i->bits);
    if (auto* r = std::get_if<Real>(&storage_)) return r->value;
    return std::nullopt;
}

const PropertyValue* PropertyValue::find(std::string_view key) const {
    auto* dict = dictionary();
    if (dict == nullptr) return nullptr;
    auto it = dict->find(key);
    return it == dict->end() ? nullptr : &it->second;
}

}  // namespace orv
