#include "core/darwin/CFPropertyValue.h"

#include <string>
#include <vector>

namespace orv {

namespace {

std::optional<std::string> stringFromCF(CFStringRef s) {
    if (const char* fast = CFStringGetCStringPtr(s, kCFStringEncodingUTF8)) return std::string(fast);
    CFIndex length = CFStringGetLength(s);
    CFIndex capacity = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8) + 1;
    std::vector<char> buffer(static_cast<size_t>(capacity));
    if (!CFStringGetCString(s, buffer.data(), capacity, kCFStringEncodingUTF8)) return std::nullopt;
    return std::string(buffer.data());
}

std::optional<PropertyValue> convert(CFTypeRef value, int depth) {
    if (value == nullptr || depth > 64) return std::nullopt;
    CFTypeID type = CFGetTypeID(value);
    if (type == CFBooleanGetTypeID()) {
        return PropertyValue(CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0);
    }
    if (type == CFNumberGetTypeID()) {
        auto number = static_cast<CFNumberRef>(value);
        if (CFNumberIsFloatType(number)) {
            double d = 0;
            CFNumberGetValue(number, kCFNumberDoubleType, &d);
            return PropertyValue(d);
        }
        int64_t i = 0;
        CFNumberGetValue(number, kCFNumberSInt64Type, &i);
        return PropertyValue(i);
    }
    if (type == CFStringGetTypeID()) {
        auto s = stringFromCF(static_cast<CFStringRef>(value));
        if (!s) return std::nullopt;
        return PropertyValue(std::move(*s));
    }
    if (type == CFDataGetTypeID()) {
        auto data = static_cast<CFDataRef>(value);
        const UInt8* bytes = CFDataGetBytePtr(data);
        CFIndex length = CFDataGetLength(data);
        return PropertyValue(PropertyValue::Data(bytes, bytes + length));
    }
    if (type == CFDateGetTypeID()) {
        return PropertyValue(static_cast<double>(CFDateGetAbsoluteTime(static_cast<CFDateRef>(value))));
    }
    if (type == CFArrayGetTypeID()) {
        auto array = static_cast<CFArrayRef>(value);
        CFIndex n = CFArrayGetCount(array);
        PropertyValue::Array out;
        out.reserve(static_cast<size_t>(n));
        for (CFIndex i = 0; i < n; ++i) {
            if (auto item = convert(CFArrayGetValueAtIndex(array, i), depth + 1)) out.push_back(std::move(*item));
        }
        return PropertyValue(std::move(out));
    }
    if (type == CFDictionaryGetTypeID()) {
        auto dict = static_cast<CFDictionaryRef>(value);
        CFIndex n = CFDictionaryGetCount(dict);
        std::vector<const void*> keys(static_cast<size_t>(n)), values(static_cast<size_t>(n));
        CFDictionaryGetKeysAndValues(dict, keys.data(), values.data());
        PropertyValue::Dictionary out;
        for (CFIndex i = 0; i < n; ++i) {
            if (keys[i] == nullptr || CFGetTypeID(keys[i]) != CFStringGetTypeID()) continue;
            auto key = stringFromCF(static_cast<CFStringRef>(keys[i]));
            auto item = convert(values[i], depth + 1);
            if (key && item) out.insert_or_assign(std::move(*key), std::move(*item));
        }
        return PropertyValue(std::move(out));
    }
    return std::nullopt;
}

}  // namespace

std::optional<PropertyValue> propertyValueFromCF(CFTypeRef value) { return convert(value, 0); }

}  // namespace orv
