#include <plist/plist.h>

#include <cstdlib>
#include <cstring>
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

uint64_t bigEndian(std::span<const uint8_t> bytes, size_t at, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i) value = (value << 8) | bytes[at + i];
    return value;
}

// Whether a binary property list holds a string with a NUL in it. libplist
// parses such a file but then aborts on an assertion when the string or key
// is read, so these files are refused before it sees them. The format: a
// 32-byte trailer (offset size, object count, offset-table position), an
// offset table, and objects whose marker's high nibble 5 is an ASCII string
// and 6 a UTF-16 one, with the length in the low nibble or in an integer
// object that follows. A structure that does not hold together is refused too.
bool binaryPlistHasNul(std::span<const uint8_t> bytes) {
    constexpr size_t header = 8, trailer = 32;
    if (bytes.size() < header + trailer) return true;
    size_t t = bytes.size() - trailer;
    size_t offsetSize = bytes[t + 6];
    uint64_t objects = bigEndian(bytes, t + 8, 8);
    uint64_t tableAt = bigEndian(bytes, t + 24, 8);
    if (offsetSize < 1 || offsetSize > 8 || tableAt >= t || objects > (t - tableAt) / offsetSize) return true;
    for (uint64_t i = 0; i < objects; ++i) {
        uint64_t at = bigEndian(bytes, size_t(tableAt + i * offsetSize), offsetSize);
        if (at < header || at >= t) return true;
        uint8_t marker = bytes[at];
        uint8_t kind = marker >> 4;
        if (kind != 0x5 && kind != 0x6) continue;
        uint64_t length = marker & 0x0F;
        size_t content = size_t(at) + 1;
        if (length == 0x0F) {
            if (content >= t || (bytes[content] >> 4) != 0x1) return true;
            size_t width = size_t(1) << (bytes[content] & 0x0F);
            if (width > 8 || content + 1 + width > t) return true;
            length = bigEndian(bytes, content + 1, width);
            content += 1 + width;
        }
        uint64_t unit = kind == 0x5 ? 1 : 2;
        if (length > (t - content) / unit) return true;
        for (uint64_t c = 0; c < length; ++c) {
            bool zero = unit == 1 ? bytes[content + c] == 0
                                  : bytes[content + 2 * c] == 0 && bytes[content + 2 * c + 1] == 0;
            if (zero) return true;
        }
    }
    return false;
}

}  // namespace

std::optional<PropertyValue> PropertyList::parse(std::span<const uint8_t> bytes) {
    if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max()) return std::nullopt;
    if (plist_is_binary(reinterpret_cast<const char*>(bytes.data()), uint32_t(bytes.size()))) {
        if (binaryPlistHasNul(bytes)) return std::nullopt;
    } else if (std::memchr(bytes.data(), 0, bytes.size()) != nullptr) {
        return std::nullopt;  // XML never holds a NUL; libplist would copy it into a string
    }
    plist_t root = nullptr;
    plist_from_memory(reinterpret_cast<const char*>(bytes.data()), uint32_t(bytes.size()), &root);
    PlistOwner owner(root);
    return convert(root, 0);
}

}  // namespace orv
