#pragma once

// The one JSON coding of every record, matching what a Swift Codable peer
// writes and reads with default settings:
// - a record (a struct described with BOOST_DESCRIBE_STRUCT) is an object
//   keyed by its field names; absent optionals are left out, and on reading
//   a missing key or null both mean absent; unknown keys are ignored;
// - a Date is a number of seconds since 2001-01-01T00:00:00Z;
// - a Duration is [high, low] of its 128-bit attosecond count;
// - an enumeration (BOOST_DESCRIBE_ENUM) is its raw value, the case name
//   unless a Coder specialisation says otherwise;
// - an enumeration with payloads is a std::variant of case structs, each
//   with a `caseName`, written as {"<case>": {<payload fields>}};
// - a map keyed by strings is an object, any other map a flat array
//   alternating key and value.
// Writing streams tokens into a string (JsonWriter); the same rules can also
// build a Boost.JSON value, for a caller that composes a larger document.
// Reading walks a JsonDocument, whose numbers are read exactly (a date must
// compare equal after a round trip).

#include <boost/describe.hpp>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <boost/mp11/algorithm.hpp>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <variant>
#include <vector>

#include "core/Date.h"
#include "core/DecodingError.h"
#include "core/Duration.h"
#include "core/JsonDocument.h"
#include "core/JsonWriter.h"

namespace orv::json {

using Element = JsonElement;

// Where a decoder is in the document, kept as a chain on the stack so that it
// costs nothing until an error names it.
struct CodingPath {
    const CodingPath* parent = nullptr;
    std::string_view key;
    size_t index = 0;
    bool isIndex = false;

    CodingPath child(std::string_view k) const { return {this, k, 0, false}; }
    CodingPath child(size_t i) const { return {this, {}, i, true}; }
    std::string render() const;
};

[[noreturn]] void throwTypeMismatch(const CodingPath& path, std::string_view expected, Element found);
[[noreturn]] void throwKeyNotFound(const CodingPath& path, std::string_view key);
[[noreturn]] void throwValueNotFound(const CodingPath& path, std::string_view expected);
[[noreturn]] void throwDataCorrupted(const CodingPath& path, std::string description);
[[noreturn]] void throwInvalidCaseCount(const CodingPath& path);

// Specialise for a type whose wire form is not the generic one:
//   static void write(const T&, JsonWriter& out);
//   static void encode(const T&, boost::json::value& out);
//   static T decode(Element, const CodingPath&);
template <class T>
struct Coder;

template <class T>
concept HasCoder = requires(const T& v, JsonWriter& writer, boost::json::value& out, Element e, const CodingPath& p) {
    Coder<T>::write(v, writer);
    Coder<T>::encode(v, out);
    { Coder<T>::decode(e, p) } -> std::same_as<T>;
};

template <class T>
concept DescribedRecord = boost::describe::has_describe_members<T>::value && std::is_class_v<T>;

template <class T>
concept DescribedEnum = boost::describe::has_describe_enumerators<T>::value;

template <class T>
concept PayloadCase = DescribedRecord<T> && requires { { T::caseName } -> std::convertible_to<std::string_view>; };

namespace detail {
template <class T> struct IsOptional : std::false_type {};
template <class T> struct IsOptional<std::optional<T>> : std::true_type {};
template <class T> struct IsSequence : std::false_type {};
template <class T, class A> struct IsSequence<std::vector<T, A>> : std::true_type {};
template <class T> struct IsSet : std::false_type {};
template <class T, class C, class A> struct IsSet<std::set<T, C, A>> : std::true_type {};
template <class T, class H, class E, class A> struct IsSet<std::unordered_set<T, H, E, A>> : std::true_type {};
template <class T> struct IsMap : std::false_type {};
template <class K, class V, class C, class A> struct IsMap<std::map<K, V, C, A>> : std::true_type {};
template <class K, class V, class H, class E, class A> struct IsMap<std::unordered_map<K, V, H, E, A>> : std::true_type {};
template <class T> struct IsPayloadEnum : std::false_type {};
template <class... Cs> struct IsPayloadEnum<std::variant<Cs...>> : std::bool_constant<(PayloadCase<Cs> && ...)> {};

template <class T> constexpr std::string_view typeName() {
    if constexpr (std::is_same_v<T, bool>) return "Bool";
    else if constexpr (std::is_same_v<T, int8_t>) return "Int8";
    else if constexpr (std::is_same_v<T, int16_t>) return "Int16";
    else if constexpr (std::is_same_v<T, int32_t>) return "Int32";
    else if constexpr (std::is_same_v<T, int64_t>) return "Int64";
    else if constexpr (std::is_same_v<T, uint8_t>) return "UInt8";
    else if constexpr (std::is_same_v<T, uint16_t>) return "UInt16";
    else if constexpr (std::is_same_v<T, uint32_t>) return "UInt32";
    else if constexpr (std::is_same_v<T, uint64_t>) return "UInt64";
    else if constexpr (std::is_floating_point_v<T>) return "Double";
    else if constexpr (std::is_same_v<T, std::string>) return "String";
    else if constexpr (IsSequence<T>::value || IsSet<T>::value) return "Array<Any>";
    else return "Dictionary<String, Any>";
}

std::string describeNumber(Element e);
}  // namespace detail

// ---------------------------------------------------------------- encoding

template <class T>
void encodeInto(const T& value, boost::json::value& out);

template <DescribedRecord T>
void encodeFields(const T& value, boost::json::object& object) {
    using Members = boost::describe::describe_members<T, boost::describe::mod_public>;
    // Room for every field up front: growing an object rehashes its keys.
    object.reserve(boost::mp11::mp_size<Members>::value);
    boost::mp11::mp_for_each<Members>([&](auto member) {
        const auto& field = value.*member.pointer;
        using Field = std::remove_cvref_t<decltype(field)>;
        if constexpr (detail::IsOptional<Field>::value) {
            if (!field) return;  // absent optionals are left out, never null
            encodeInto(*field, object[member.name]);
        } else {
            encodeInto(field, object[member.name]);
        }
    });
}

template <class T>
void encodeInto(const T& value, boost::json::value& out) {
    if constexpr (HasCoder<T>) {
        Coder<T>::encode(value, out);
    } else if constexpr (std::is_same_v<T, bool>) {
        out = value;
    } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
        out = static_cast<int64_t>(value);
    } else if constexpr (std::is_integral_v<T>) {
        out = static_cast<uint64_t>(value);
    } else if constexpr (std::is_floating_point_v<T>) {
        out = static_cast<double>(value);
    } else if constexpr (std::is_same_v<T, std::string>) {
        out = boost::json::string_view(value);
    } else if constexpr (detail::IsOptional<T>::value) {
        if (value) encodeInto(*value, out);
        else out = nullptr;
    } else if constexpr (detail::IsSequence<T>::value || detail::IsSet<T>::value) {
        auto& array = out.emplace_array();
        array.reserve(value.size());
        for (const auto& element : value) encodeInto(element, array.emplace_back(nullptr));
    } else if constexpr (detail::IsMap<T>::value) {
        using Key = typename T::key_type;
        if constexpr (std::is_same_v<Key, std::string>) {
            auto& object = out.emplace_object();
            for (const auto& [k, v] : value) encodeInto(v, object[k]);
        } else {
            auto& array = out.emplace_array();
            array.reserve(value.size() * 2);
            for (const auto& [k, v] : value) {
                encodeInto(k, array.emplace_back(nullptr));
                encodeInto(v, array.emplace_back(nullptr));
            }
        }
    } else if constexpr (DescribedEnum<T>) {
        const char* name = boost::describe::enum_to_string(value, nullptr);
        out = boost::json::string_view(name ? name : "");
    } else if constexpr (detail::IsPayloadEnum<T>::value) {
        auto& object = out.emplace_object();
        std::visit([&](const auto& c) {
            using Case = std::remove_cvref_t<decltype(c)>;
            encodeFields(c, object[Case::caseName].emplace_object());
        }, value);
    } else if constexpr (DescribedRecord<T>) {
        encodeFields(value, out.emplace_object());
    } else {
        static_assert(sizeof(T) == 0, "no JSON coding for this type");
    }
}

template <class T>
boost::json::value toJsonValue(const T& value, boost::json::storage_ptr storage = {}) {
    boost::json::value out(std::move(storage));
    encodeInto(value, out);
    return out;
}

// ---------------------------------------------------------------- writing

template <class T>
void write(const T& value, JsonWriter& out);

template <DescribedRecord T>
void writeFields(const T& value, JsonWriter& out) {
    out.punctuation('{');
    bool first = true;
    boost::mp11::mp_for_each<boost::describe::describe_members<T, boost::describe::mod_public>>([&](auto member) {
        const auto& field = value.*member.pointer;
        using Field = std::remove_cvref_t<decltype(field)>;
        if constexpr (detail::IsOptional<Field>::value) {
            if (!field) return;  // absent optionals are left out, never null
        }
        // Each field's `,"name":` is made once; the first field drops the comma.
        static const std::string key = std::string(",\"") + member.name + "\":";
        out.verbatim(first ? std::string_view(key).substr(1) : std::string_view(key));
        first = false;
        if constexpr (detail::IsOptional<Field>::value) write(*field, out);
        else write(field, out);
    });
    out.punctuation('}');
}

template <class T>
void write(const T& value, JsonWriter& out) {
    if constexpr (HasCoder<T>) {
        Coder<T>::write(value, out);
    } else if constexpr (std::is_same_v<T, bool>) {
        out.boolean(value);
    } else if constexpr (std::is_integral_v<T>) {
        out.integer(value);
    } else if constexpr (std::is_floating_point_v<T>) {
        out.number(static_cast<double>(value));
    } else if constexpr (std::is_same_v<T, std::string>) {
        out.string(value);
    } else if constexpr (detail::IsOptional<T>::value) {
        if (value) write(*value, out);
        else out.null();
    } else if constexpr (detail::IsSequence<T>::value || detail::IsSet<T>::value) {
        out.punctuation('[');
        bool first = true;
        for (const auto& element : value) {
            if (!first) out.punctuation(',');
            first = false;
            write(element, out);
        }
        out.punctuation(']');
    } else if constexpr (detail::IsMap<T>::value) {
        using Key = typename T::key_type;
        constexpr bool keyed = std::is_same_v<Key, std::string>;
        out.punctuation(keyed ? '{' : '[');
        bool first = true;
        for (const auto& [k, v] : value) {
            if (!first) out.punctuation(',');
            first = false;
            write(k, out);
            out.punctuation(keyed ? ':' : ',');
            write(v, out);
        }
        out.punctuation(keyed ? '}' : ']');
    } else if constexpr (DescribedEnum<T>) {
        const char* name = boost::describe::enum_to_string(value, nullptr);
        out.string(name ? name : "");
    } else if constexpr (detail::IsPayloadEnum<T>::value) {
        std::visit([&](const auto& c) {
            using Case = std::remove_cvref_t<decltype(c)>;
            out.punctuation('{');
            out.plainKey(Case::caseName);
            writeFields(c, out);
            out.punctuation('}');
        }, value);
    } else if constexpr (DescribedRecord<T>) {
        writeFields(value, out);
    } else {
        static_assert(sizeof(T) == 0, "no JSON coding for this type");
    }
}

// The compact JSON text of a value. Throws std::invalid_argument for a
// double that is not finite, which JSON cannot state.
template <class T>
std::string encode(const T& value) {
    // Room for what the last text of this type took, so that a large
    // answer written again and again is not regrown each time.
    thread_local size_t lastSize = 0;
    std::string text;
    text.reserve(lastSize + lastSize / 8);
    JsonWriter writer(text);
    write(value, writer);
    lastSize = text.size();
    return text;
}

// The same text through a Boost.JSON document: what encode() wrote before
// it streamed, kept as the reference it is tested against.
template <class T>
std::string encodeThroughValue(const T& value) {
    boost::json::monotonic_resource arena;
    return boost::json::serialize(toJsonValue(value, &arena));
}

// ---------------------------------------------------------------- decoding

template <class T>
T decodeFrom(Element e, const CodingPath& path);

template <class T>
T decodeInteger(Element e, const CodingPath& path) {
    using Limits = std::numeric_limits<T>;
    switch (e.type()) {
        case JsonType::int64: {
            int64_t v = e.int64();
            if constexpr (std::is_signed_v<T>) {
                if (v >= int64_t(Limits::min()) && v <= int64_t(Limits::max())) return T(v);
            } else {
                if (v >= 0 && uint64_t(v) <= uint64_t(Limits::max())) return T(v);
            }
            break;
        }
        case JsonType::uint64: {
            uint64_t v = e.uint64();
            if (v <= uint64_t(Limits::max())) return T(v);
            break;
        }
        case JsonType::real: {
            // A whole number written with a fraction or an exponent is still
            // that number, as the Swift decoder reads it.
            double v = e.real();
            if (std::trunc(v) == v && v >= double(Limits::min()) && v < std::ldexp(1.0, Limits::digits)) return T(v);
            break;
        }
        default:
            throwTypeMismatch(path, detail::typeName<T>(), e);
    }
    throwDataCorrupted(path, "Parsed JSON number <" + detail::describeNumber(e) + "> does not fit in " +
                                 std::string(detail::typeName<T>()) + ".");
}

template <DescribedRecord T>
void decodeFields(JsonObject object, const CodingPath& path, T& out) {
    // Keys nearly always come in the order the fields are written, so the
    // key after the last one taken is tried first and only a miss searches
    // the whole object. Every key before that one was taken by an earlier
    // field, of another name, so a hit there is also the key's first
    // occurrence: what a search would have found.
    auto next = object.begin();
    const auto end = object.end();
    boost::mp11::mp_for_each<boost::describe::describe_members<T, boost::describe::mod_public>>([&](auto member) {
        auto& field = out.*member.pointer;
        using Field = std::remove_cvref_t<decltype(field)>;
        Element child;
        bool found;
        if (next != end && next.key() == std::string_view(member.name)) {
            child = next.value();
            ++next;
            found = true;
        } else {
            found = object.find(member.name, child);
        }
        const bool present = found && !child.isNull();
        if constexpr (detail::IsOptional<Field>::value) {
            if (present) field = decodeFrom<typename Field::value_type>(child, path.child(member.name));
            else field.reset();
        } else {
            if (!present) {
                if (!found) throwKeyNotFound(path, member.name);
                throwValueNotFound(path.child(member.name), detail::typeName<Field>());
            }
            field = decodeFrom<Field>(child, path.child(member.name));
        }
    });
}

template <class T>
JsonObject expectObject(Element e, const CodingPath& path) {
    if (e.isNull()) throwValueNotFound(path, detail::typeName<T>());
    if (e.type() != JsonType::object) throwTypeMismatch(path, detail::typeName<T>(), e);
    return e.object();
}

template <class T>
JsonArray expectArray(Element e, const CodingPath& path) {
    if (e.type() != JsonType::array) throwTypeMismatch(path, "Array<Any>", e);
    return e.array();
}

template <class Variant, size_t I = 0>
bool decodeCase(std::string_view name, Element value, const CodingPath& path, Variant& out) {
    if constexpr (I == std::variant_size_v<Variant>) {
        return false;
    } else {
        using Case = std::variant_alternative_t<I, Variant>;
        if (name == std::string_view(Case::caseName)) {
            Case c{};
            decodeFields(expectObject<Case>(value, path), path, c);
            out = std::move(c);
            return true;
        }
        return decodeCase<Variant, I + 1>(name, value, path, out);
    }
}

template <class Variant, size_t I = 0>
constexpr bool isCaseName(std::string_view name) {
    if constexpr (I == std::variant_size_v<Variant>) return false;
    else return name == std::string_view(std::variant_alternative_t<I, Variant>::caseName) || isCaseName<Variant, I + 1>(name);
}

template <class T>
T decodeFrom(Element e, const CodingPath& path) {
    if constexpr (!detail::IsOptional<T>::value) {
        // A null where a value must be, at any depth, is a missing value.
        if (e.isNull()) throwValueNotFound(path, detail::typeName<T>());
    }
    if constexpr (HasCoder<T>) {
        return Coder<T>::decode(e, path);
    } else if constexpr (std::is_same_v<T, bool>) {
        if (e.type() != JsonType::boolean) throwTypeMismatch(path, "Bool", e);
        return e.boolean();
    } else if constexpr (std::is_integral_v<T>) {
        return decodeInteger<T>(e, path);
    } else if constexpr (std::is_floating_point_v<T>) {
        switch (e.type()) {
            case JsonType::real: return T(e.real());
            case JsonType::int64: return T(e.int64());
            case JsonType::uint64: return T(e.uint64());
            default: throwTypeMismatch(path, "Double", e);
        }
    } else if constexpr (std::is_same_v<T, std::string>) {
        if (e.type() != JsonType::string) throwTypeMismatch(path, "String", e);
        return std::string(e.string());
    } else if constexpr (detail::IsOptional<T>::value) {
        if (e.isNull()) return std::nullopt;
        return decodeFrom<typename T::value_type>(e, path);
    } else if constexpr (detail::IsSequence<T>::value || detail::IsSet<T>::value) {
        auto array = expectArray<T>(e, path);
        T out;
        if constexpr (detail::IsSequence<T>::value) out.reserve(array.size());
        size_t i = 0;
        for (Element item : array) {
            auto value = decodeFrom<typename T::value_type>(item, path.child(i++));
            if constexpr (detail::IsSequence<T>::value) out.push_back(std::move(value));
            else out.insert(std::move(value));
        }
        return out;
    } else if constexpr (detail::IsMap<T>::value) {
        using Key = typename T::key_type;
        using Value = typename T::mapped_type;
        T out;
        if constexpr (std::is_same_v<Key, std::string>) {
            auto object = expectObject<T>(e, path);
            for (auto field = object.begin(); field != object.end(); ++field) {
                out.emplace(std::string(field.key()), decodeFrom<Value>(field.value(), path.child(field.key())));
            }
        } else {
            auto array = expectArray<T>(e, path);
            if (array.size() % 2 != 0) {
                throwDataCorrupted(path, "Expected collection of key-value pairs; encountered odd-length array instead.");
            }
            size_t i = 0;
            for (auto it = array.begin(); it != array.end(); ++it, i += 2) {
                Key key = decodeFrom<Key>(*it, path.child(i));
                ++it;
                out.insert_or_assign(std::move(key), decodeFrom<Value>(*it, path.child(i + 1)));
            }
        }
        return out;
    } else if constexpr (DescribedEnum<T>) {
        if (e.type() != JsonType::string) throwTypeMismatch(path, "String", e);
        std::string_view raw = e.string();
        T out{};
        bool matched = false;
        boost::mp11::mp_for_each<boost::describe::describe_enumerators<T>>([&](auto enumerator) {
            if (!matched && raw == std::string_view(enumerator.name)) {
                out = enumerator.value;
                matched = true;
            }
        });
        if (!matched) {
            throwDataCorrupted(path, "Cannot initialize enumeration from invalid String value " + std::string(raw));
        }
        return out;
    } else if constexpr (detail::IsPayloadEnum<T>::value) {
        // Only keys that name a case count, as in Swift's keyed containers.
        auto object = expectObject<T>(e, path);
        std::string_view chosen;
        Element payload;
        size_t cases = 0;
        for (auto field = object.begin(); field != object.end(); ++field) {
            if (isCaseName<T>(field.key())) {
                ++cases;
                chosen = field.key();
                payload = field.value();
            }
        }
        if (cases != 1) throwInvalidCaseCount(path);
        T out;
        decodeCase(chosen, payload, path.child(chosen), out);
        return out;
    } else if constexpr (DescribedRecord<T>) {
        T out{};
        decodeFields(expectObject<T>(e, path), path, out);
        return out;
    } else {
        static_assert(sizeof(T) == 0, "no JSON coding for this type");
    }
}

// Parses `text` into this thread's document; throws DecodingError on
// malformed JSON. The element stays valid until the next parse on this
// thread.
Element parseDocument(std::string_view text);

// Parses `text` and decodes it as T; throws DecodingError on malformed JSON
// or on a document that does not fit T.
template <class T>
T decode(std::string_view text) {
    return decodeFrom<T>(parseDocument(text), CodingPath{});
}

// ---------------------------------------------------------------- bespoke forms

template <>
struct Coder<Date> {
    static void write(const Date& d, JsonWriter& out) { out.number(d.secondsSinceReferenceDate); }
    static void encode(const Date& d, boost::json::value& out) { out = d.secondsSinceReferenceDate; }
    static Date decode(Element e, const CodingPath& path) { return Date{decodeFrom<double>(e, path)}; }
};

template <>
struct Coder<Duration> {
    static void write(const Duration& d, JsonWriter& out) {
        out.punctuation('[');
        out.integer(d.high());
        out.punctuation(',');
        out.integer(d.low());
        out.punctuation(']');
    }
    static void encode(const Duration& d, boost::json::value& out) {
        auto& array = out.emplace_array();
        array.emplace_back(d.high());
        array.emplace_back(d.low());
    }
    // The first two elements, as Swift's Duration reads its unkeyed
    // container: elements after them are not looked at.
    static Duration decode(Element e, const CodingPath& path) {
        auto array = expectArray<Duration>(e, path);
        auto it = array.begin();
        if (it == array.end()) throwAtEnd(path.child(size_t(0)));
        int64_t high = decodeFrom<int64_t>(*it, path.child(size_t(0)));
        ++it;
        if (it == array.end()) throwAtEnd(path.child(size_t(1)));
        uint64_t low = decodeFrom<uint64_t>(*it, path.child(size_t(1)));
        return Duration::fromParts(high, low);
    }
    [[noreturn]] static void throwAtEnd(const CodingPath& path) {
        throw DecodingError(DecodingError::Kind::valueNotFound, path.render(), "Unkeyed container is at end.");
    }
};

}  // namespace orv::json
