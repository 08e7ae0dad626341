#include <plist/plist.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "core/ByteDecoding.h"
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

// The binary format's trailer: the last 32 bytes of the file.
struct BinaryTrailer {
    static constexpr size_t size = 32;
    static constexpr size_t offsetSize = 6;           // width of each offset-table entry, 1 to 8
    static constexpr size_t objectCount = 8;          // 64-bit big-endian
    static constexpr size_t offsetTablePosition = 24; // 64-bit big-endian
};
constexpr size_t binaryHeaderSize = 8;  // "bplist00"
constexpr uint8_t asciiStringKind = 0x5;    // marker 0x5N: N ASCII bytes
constexpr uint8_t utf16StringKind = 0x6;    // marker 0x6N: N UTF-16 units
constexpr uint8_t integerKind = 0x1;        // marker 0x1W: 2^W big-endian bytes follow
constexpr uint8_t lengthFollows = 0x0F;     // a length nibble of 15: an integer object holds the length

// Whether a binary property list holds a string with a NUL in it. libplist
// parses such a file but then aborts on an assertion when the string or key
// is read, so these files are refused before it sees them. The format: a
// trailer (offset size, object count, offset-table position), an offset
// table, and objects whose marker's high nibble is their kind, with the
// length in the low nibble or in an integer object that follows. A
// structure that does not hold together is refused too.
bool binaryPlistHasNul(std::span<const uint8_t> bytes) {
    using ByteDecoding::loadBigEndianOfWidth;
    if (bytes.size() < binaryHeaderSize + BinaryTrailer::size) return true;
    const size_t t = bytes.size() - BinaryTrailer::size;
    const size_t offsetSize = bytes[t + BinaryTrailer::offsetSize];
    const auto objects = loadBigEndianOfWidth(bytes, t + BinaryTrailer::objectCount, 8);
    const auto tableAt = loadBigEndianOfWidth(bytes, t + BinaryTrailer::offsetTablePosition, 8);
    if (!objects || !tableAt || offsetSize < 1 || offsetSize > 8 || *tableAt >= t ||
        *objects > (t - *tableAt) / offsetSize) {
        return true;
    }
    for (uint64_t i = 0; i < *objects; ++i) {
        const auto at = loadBigEndianOfWidth(bytes, size_t(*tableAt + i * offsetSize), offsetSize);
        if (!at || *at < binaryHeaderSize || *at >= t) return true;
        const uint8_t marker = bytes[*at];
        const uint8_t kind = marker >> 4;
        if (kind != asciiStringKind && kind != utf16StringKind) continue;
        uint64_t length = marker & 0x0F;
        size_t content = size_t(*at) + 1;
        if (length == lengthFollows) {
            if (content >= t || (bytes[content] >> 4) != integerKind) return true;
            const size_t width = size_t(1) << (bytes[content] & 0x0F);
            if (width > 8 || content + 1 + width > t) return true;
            length = *loadBigEndianOfWidth(bytes, content + 1, width);
            content += 1 + width;
        }
        const uint64_t unit = kind == asciiStringKind ? 1 : 2;
        if (length > (t - content) / unit) return true;
        for (uint64_t c = 0; c < length; ++c) {
            const bool zero = unit == 1 ? bytes[content + c] == 0
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
