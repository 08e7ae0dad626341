#pragma once

// Values of any described record, made from a stream of bytes: for tests
// that hold two codings of the same record against each other, and for
// fuzz targets, where libFuzzer chooses the bytes. Doubles come from raw
// bits (so every sign, subnormal and non-finite value occurs), strings are
// valid UTF-8 made of letters, quotation marks, reverse solidi, control
// characters and multi-byte characters (a document with a malformed one is
// refused whole, and would hide the rest), and collections are short.

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "core/JsonCoding.h"
#include "core/UUID.h"

namespace orv::testing {

class ByteSource {
public:
    explicit ByteSource(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    uint8_t byte() {
        if (at_ >= bytes_.size()) return 0;
        return bytes_[at_++];
    }
    template <class T>
    T raw() {
        uint8_t buffer[sizeof(T)] = {};
        for (auto& b : buffer) b = byte();
        T out;
        std::memcpy(&out, buffer, sizeof(T));
        return out;
    }
    // A length below `limit`, small more often than not.
    size_t length(size_t limit) { return size_t(byte()) % limit; }

private:
    std::span<const uint8_t> bytes_;
    size_t at_ = 0;
};

template <class T>
T arbitrary(ByteSource& in, int depth = 0);

namespace detail {

inline std::string arbitraryText(ByteSource& in) {
    static constexpr std::string_view pieces[] = {"a", "Z", " ", "\"", "\\", "/", "\n", "\t", "\x01", "\x1f", "\x7f",
                                                  "é", "€", "😀", "0", "-", "\u2028"};
    std::string out;
    const size_t count = in.length(24);
    for (size_t i = 0; i < count; ++i) {
        out += pieces[in.byte() % std::size(pieces)];
    }
    return out;
}

template <class Variant, size_t I = 0>
Variant arbitraryCase(ByteSource& in, size_t index, int depth) {
    if constexpr (I + 1 == std::variant_size_v<Variant>) {
        return arbitrary<std::variant_alternative_t<I, Variant>>(in, depth);
    } else {
        if (index == I) return arbitrary<std::variant_alternative_t<I, Variant>>(in, depth);
        return arbitraryCase<Variant, I + 1>(in, index, depth);
    }
}

}  // namespace detail

template <class T>
T arbitrary(ByteSource& in, int depth) {
    namespace jd = json::detail;
    if constexpr (std::is_same_v<T, bool>) {
        return (in.byte() & 1) != 0;
    } else if constexpr (std::is_integral_v<T> || std::is_floating_point_v<T>) {
        return in.raw<T>();
    } else if constexpr (std::is_same_v<T, std::string>) {
        return detail::arbitraryText(in);
    } else if constexpr (std::is_same_v<T, Date>) {
        return Date{in.raw<double>()};
    } else if constexpr (std::is_same_v<T, Duration>) {
        return Duration::fromParts(in.raw<int64_t>(), in.raw<uint64_t>());
    } else if constexpr (std::is_same_v<T, UUID>) {
        UUID id;
        for (auto& b : id.bytes) b = in.byte();
        return id;
    } else if constexpr (jd::IsOptional<T>::value) {
        if (in.byte() & 1) return std::nullopt;
        return arbitrary<typename T::value_type>(in, depth);
    } else if constexpr (jd::IsSequence<T>::value || jd::IsSet<T>::value || jd::IsMap<T>::value) {
        T out;
        const size_t count = depth > 3 ? 0 : in.length(4);
        for (size_t i = 0; i < count; ++i) {
            if constexpr (jd::IsSequence<T>::value) out.push_back(arbitrary<typename T::value_type>(in, depth + 1));
            else if constexpr (jd::IsSet<T>::value) out.insert(arbitrary<typename T::value_type>(in, depth + 1));
            else out.insert_or_assign(arbitrary<typename T::key_type>(in, depth + 1),
                                      arbitrary<typename T::mapped_type>(in, depth + 1));
        }
        return out;
    } else if constexpr (json::DescribedEnum<T>) {
        using Enumerators = boost::describe::describe_enumerators<T>;
        const size_t chosen = in.byte() % boost::mp11::mp_size<Enumerators>::value;
        T out{};
        size_t i = 0;
        boost::mp11::mp_for_each<Enumerators>([&](auto e) {
            if (i++ == chosen) out = e.value;
        });
        return out;
    } else if constexpr (jd::IsPayloadEnum<T>::value) {
        return detail::arbitraryCase<T>(in, in.byte() % std::variant_size_v<T>, depth + 1);
    } else if constexpr (json::DescribedRecord<T>) {
        T out{};
        boost::mp11::mp_for_each<boost::describe::describe_members<T, boost::describe::mod_public>>([&](auto member) {
            using Field = std::remove_cvref_t<decltype(out.*member.pointer)>;
            out.*member.pointer = arbitrary<Field>(in, depth + 1);
        });
        return out;
    } else {
        static_assert(sizeof(T) == 0, "no arbitrary value for this type");
    }
}

// Whether two JSON texts are the same document: the same structure, keys
// in the same order, equal strings and integers, and doubles equal to the
// bit. Texts that are not JSON are the same when neither is. `why` names
// the first difference.
inline bool sameJsonDocument(std::string_view a, std::string_view b, std::string* why = nullptr) {
    json::JsonDocument left, right;
    json::JsonElement x, y;
    std::string error;
    const bool xFailed = !left.parse(a, x, error);
    const bool yFailed = !right.parse(b, y, error);
    auto differ = [&](std::string what) {
        if (why) *why = std::move(what);
        return false;
    };
    if (xFailed || yFailed) return xFailed == yFailed ? true : differ("only one text is JSON");
    auto same = [&](auto& self, json::JsonElement p, json::JsonElement q) -> bool {
        using Type = json::JsonType;
        if (p.type() != q.type()) return differ("types differ");
        switch (p.type()) {
            case Type::array: {
                auto i = p.array().begin(), iEnd = p.array().end();
                auto j = q.array().begin(), jEnd = q.array().end();
                for (; i != iEnd && j != jEnd; ++i, ++j) {
                    if (!self(self, *i, *j)) return false;
                }
                return (i == iEnd && j == jEnd) || differ("array lengths differ");
            }
            case Type::object: {
                auto i = p.object().begin(), iEnd = p.object().end();
                auto j = q.object().begin(), jEnd = q.object().end();
                for (; i != iEnd && j != jEnd; ++i, ++j) {
                    if (i.key() != j.key()) return differ("keys differ: " + std::string(i.key()) + " / " + std::string(j.key()));
                    if (!self(self, i.value(), j.value())) return false;
                }
                return (i == iEnd && j == jEnd) || differ("object sizes differ");
            }
            case Type::int64: return p.int64() == q.int64() || differ("integers differ");
            case Type::uint64: return p.uint64() == q.uint64() || differ("integers differ");
            case Type::real: {
                const double u = p.real(), v = q.real();
                return std::memcmp(&u, &v, sizeof u) == 0 || differ("doubles differ");
            }
            case Type::string: return p.string() == q.string() || differ("strings differ");
            case Type::boolean: return p.boolean() == q.boolean() || differ("booleans differ");
            case Type::null: return true;
        }
        return differ("unknown type");
    };
    return same(same, x, y);
}

}  // namespace orv::testing
