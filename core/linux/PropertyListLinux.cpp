#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

#include "core/PropertyList.h"

namespace orv {

namespace {

struct PlistFree {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistOwner = std::unique_ptr<void, PlistFree>;

struct MallocFree {
    void operator()(void* p) const { std::free(p); }
};

std::optional<PropertyValue> convert(plist_t node, int depth) {
    if (node == nullptr || depth > 64) return std::nullopt;  // depth guards a hostile file
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            uint8_t b = 0;
            plist_get_bool_val(node, &b);
            return PropertyValue(b != 0);
        }
        case PLIST_UINT: {
            uint64_t v = 0;
            plist_get_uint_val(node, &v);
            return PropertyValue(v);
        }
        case PLIST_REAL: {
            double v = 0;
            plist_get_real_val(node, &v);
            return PropertyValue(v);
        }
        case PLIST_DATE: {
            // Seconds since 2001-01-01, the same reference as our dates.
            int32_t sec = 0, usec = 0;
            plist_get_date_val(node, &sec, &usec);
            return PropertyValue(double(sec) + double(usec) / 1e6);
        }
        case PLIST_STRING:
        case PLIST_KEY: {
            char* raw = nullptr;
            if (plist_get_node_type(node) == PLIST_STRING) plist_get_string_val(node, &raw);
            else plist_get_key_val(node, &raw);
            std::unique_ptr<char, MallocFree> owned(raw);
            return PropertyValue(std::string(raw ? raw : ""));
        }
        case PLIST_DATA: {
            char* raw = nullptr;
            uint64_t length = 0;
            plist_get_data_val(node, &raw, &length);
            std::unique_ptr<char, MallocFree> owned(raw);
            auto* begin = reinterpret_cast<const uint8_t*>(raw);
            return PropertyValue(PropertyValue::Data(begin, begin + (raw ? length : 0)));
        }
        case PLIST_ARRAY: {
            PropertyValue::Array array;
            uint32_t n = plist_array_get_size(node);
            array.reserve(n);
            for (uint32_t i = 0; i < n; ++i) {
                auto item = convert(plist_array_get_item(node, i), depth + 1);
                if (!item) return std::nullopt;
                array.push_back(std::move(*item));
            }
            return PropertyValue(std::move(array));
        }
        case PLIST_DICT: {
            PropertyValue::Dictionary dict;
            plist_dict_iter it = nullptr;
            plist_dict_new_iter(node, &it);
            if (it == nullptr) return PropertyValue(std::move(dict));
            std::unique_ptr<void, MallocFree> ownedIter(it);
            for (;;) {
                char* key = nullptr;
                plist_t value = nullptr;
                plist_dict_next_item(node, it, &key, &value);
                if (key == nullptr) break;
                std::unique_ptr<char, MallocFree> ownedKey(key);
                auto converted = convert(value, depth + 1);
                if (!converted) return std::nullopt;
                dict.insert_or_assign(std::string(key), std::move(*converted));
            }
            return PropertyValue(std::move(dict));
        }
        default:
            return std::nullopt;
    }
}

}  // namespace

std::optional<PropertyValue> PropertyList::parse(std::span<const uint8_t> bytes) {
    if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max()) return std::nullopt;
    plist_t root = nullptr;
    plist_from_memory(reinterpret_cast<const char*>(bytes.data()), uint32_t(bytes.size()), &root);
    PlistOwner owner(root);
    return convert(root, 0);
}

}  // namespace orv
