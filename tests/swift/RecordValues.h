#pragma once

// Values of any described record for the wire tests: the edge values of
// every leaf type, seeded random values, and a field-by-field comparison
// that names the first fields that differ (doubles and dates bit for bit).

#include <bit>
#include <cfloat>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <variant>
#include <vector>

#include <boost/describe.hpp>
#include <boost/mp11/algorithm.hpp>
#include <fmt/format.h>

#include "core/Date.h"
#include "core/Duration.h"
#include "core/JsonCoding.h"
#include "core/UUID.h"

namespace orv::test {

namespace values {
template <class T> struct IsOptional : std::false_type {};
template <class T> struct IsOptional<std::optional<T>> : std::true_type {};
template <class T> struct IsVector : std::false_type {};
template <class T, class A> struct IsVector<std::vector<T, A>> : std::true_type {};
template <class T> struct IsSet : std::false_type {};
template <class T, class C, class A> struct IsSet<std::set<T, C, A>> : std::true_type {};
template <class T> struct IsMap : std::false_type {};
template <class K, class V, class C, class A> struct IsMap<std::map<K, V, C, A>> : std::true_type {};
template <class K, class V, class H, class E, class A>
struct IsMap<std::unordered_map<K, V, H, E, A>> : std::true_type {};
template <class T> struct IsVariant : std::false_type {};
template <class... Cs> struct IsVariant<std::variant<Cs...>> : std::true_type {};
}  // namespace values

// Makes values. In edge mode, the n-th value gives each leaf, in the order
// the leaves are met, the next of its type's edge values, starting at n, so
// that every edge value turns up in every field over a few values and
// every enumeration case, payload case, empty and present optional and
// empty collection is met.
class ValueMaker {
public:
    static ValueMaker edges(size_t n) { return ValueMaker(true, n, 0); }
    static ValueMaker random(uint64_t seed) { return ValueMaker(false, 0, seed); }

    template <class T>
    T make() {
        using namespace values;
        if constexpr (std::is_same_v<T, bool>) {
            return pick(2) == 1;
        } else if constexpr (std::is_integral_v<T>) {
            using L = std::numeric_limits<T>;
            if constexpr (std::is_signed_v<T>) {
                const T edge[] = {0, -1, L::min(), L::max(), 1};
                if (edgeMode_) return edge[pick(std::size(edge))];
                switch (rng_() % 4) {
                    case 0: return T(int64_t(rng_() % 2001) - 1000);
                    case 1: return edge[rng_() % std::size(edge)];
                    default: return T(rng_());
                }
            } else {
                const T edge[] = {0, L::max(), 1, T(T(1) << (L::digits - 1))};
                if (edgeMode_) return edge[pick(std::size(edge))];
                switch (rng_() % 4) {
                    case 0: return T(rng_() % 1001);
                    case 1: return edge[rng_() % std::size(edge)];
                    default: return T(rng_());
                }
            }
        } else if constexpr (std::is_floating_point_v<T>) {
            const double edge[] = {0.0, -0.0, -1.0, 1.0, DBL_MAX, -DBL_MAX, DBL_TRUE_MIN, DBL_MIN, 0.1,
                                   1e16, 123456789.123456789, 9007199254740992.0, 1e-7, 100.0, 18446744073709551616.0};
            if (edgeMode_) return edge[pick(std::size(edge))];
            return randomDouble();
        } else if constexpr (std::is_same_v<T, Date>) {
            // Before 2001, long fractions, the Unix epoch, the distant past.
            const double edge[] = {0.0, -1e9, 721692800.123456789, -978307200.5, -63114076800.0,
                                   1.0000000000000002, 721692800.0, -0.0, 5e-324};
            if (edgeMode_) return Date{edge[pick(std::size(edge))]};
            if (rng_() % 2) return Date{double(int64_t(rng_() % 4'000'000'000) - 2'000'000'000) + double(rng_() % 1'000'000) / 1e6};
            return Date{randomDouble()};
        } else if constexpr (std::is_same_v<T, Duration>) {
            const Duration edge[] = {Duration::zero(), Duration::milliseconds(2500), Duration::seconds(20),
                                     Duration::fromParts(-1, UINT64_MAX), Duration::seconds(-1),
                                     Duration::fromParts(INT64_MIN, 0), Duration::fromParts(INT64_MAX, UINT64_MAX)};
            if (edgeMode_) return edge[pick(std::size(edge))];
            if (rng_() % 2) return Duration::nanoseconds(int64_t(rng_() % 100'000'000'000'000ULL) - 1'000'000'000'000LL);
            return Duration::fromParts(int64_t(rng_()), rng_());
        } else if constexpr (std::is_same_v<T, std::string>) {
            if (edgeMode_) {
                static const std::string edge[] = {"", "é中😀 ñ", "\"\\/\b\f\n\r\t\x01\x1f\x7f", "a",
                                                   "\u2028\u2029\uFEFF", std::string(300, 'x') + "€",
                                                   "a\":-0,\"b"};
                return edge[pick(std::size(edge))];
            }
            static const char* const pieces[] = {"a", "Z", "0", " ", "\"", "\\", "/", "\n", "\t", "\x01", "\x7f",
                                                 "é", "中", "😀", "\u2028", "app:", ".", "-", "ß", "\uFFFD"};
            std::string s;
            for (size_t n = rng_() % 12; n > 0; --n) s += pieces[rng_() % std::size(pieces)];
            return s;
        } else if constexpr (std::is_same_v<T, UUID>) {
            UUID id;
            if (edgeMode_) {
                switch (pick(3)) {
                    case 0: break;
                    case 1: id.bytes.fill(0xFF); break;
                    default: id = *UUID::parse("e621e1f8-c36c-495a-93fc-0c247a3e6e5f");
                }
                return id;
            }
            for (auto& b : id.bytes) b = uint8_t(rng_());
            return id;
        } else if constexpr (IsOptional<T>::value) {
            if (pick(3) == 0) return std::nullopt;
            return make<typename T::value_type>();
        } else if constexpr (IsVector<T>::value || IsSet<T>::value) {
            T out;
            for (size_t n = pick(3); n > 0; --n) {
                if constexpr (IsVector<T>::value) out.push_back(make<typename T::value_type>());
                else out.insert(make<typename T::value_type>());
            }
            return out;
        } else if constexpr (IsMap<T>::value) {
            T out;
            for (size_t n = pick(3); n > 0; --n) {
                auto key = make<typename T::key_type>();
                out.insert_or_assign(std::move(key), make<typename T::mapped_type>());
            }
            return out;
        } else if constexpr (boost::describe::has_describe_enumerators<T>::value) {
            using E = boost::describe::describe_enumerators<T>;
            size_t chosen = pick(boost::mp11::mp_size<E>::value), i = 0;
            T out{};
            boost::mp11::mp_for_each<E>([&](auto e) {
                if (i++ == chosen) out = e.value;
            });
            return out;
        } else if constexpr (IsVariant<T>::value) {
            return makeCase<T>(pick(std::variant_size_v<T>));
        } else if constexpr (boost::describe::has_describe_members<T>::value) {
            T out{};
            boost::mp11::mp_for_each<boost::describe::describe_members<T, boost::describe::mod_public>>(
                [&](auto member) {
                    using Field = std::remove_cvref_t<decltype(out.*member.pointer)>;
                    out.*member.pointer = make<Field>();
                });
            return out;
        } else {
            static_assert(sizeof(T) == 0, "no values for this type");
        }
    }

private:
    ValueMaker(bool edgeMode, size_t n, uint64_t seed) : edgeMode_(edgeMode), n_(n), rng_(seed) {}

    size_t pick(size_t count) { return edgeMode_ ? (n_ + leaf_++) % count : size_t(rng_() % count); }

    double randomDouble() {
        switch (rng_() % 4) {
            case 0: return double(rng_() % 100000) / 100.0;
            case 1: return std::uniform_real_distribution<double>(-1e12, 1e12)(rng_);
            default:
                for (;;) {  // any finite double, subnormals included: Swift cannot write NaN or infinity
                    double d = std::bit_cast<double>(uint64_t(rng_()));
                    if (std::isfinite(d)) return d;
                }
        }
    }

    template <class V, size_t I = 0>
    V makeCase(size_t chosen) {
        if constexpr (I + 1 == std::variant_size_v<V>) {
            return make<std::variant_alternative_t<I, V>>();
        } else {
            if (chosen == I) return make<std::variant_alternative_t<I, V>>();
            return makeCase<V, I + 1>(chosen);
        }
    }

    bool edgeMode_;
    size_t n_;
    size_t leaf_ = 0;
    std::mt19937_64 rng_;
};

// Appends "path: expected …, found …" for every field where `found`
// differs from `expected`.
class FieldComparison {
public:
    std::vector<std::string> differences;

    template <class T>
    void compare(const T& expected, const T& found, const std::string& path) {
        using namespace values;
        if constexpr (std::is_floating_point_v<T>) {
            if (std::bit_cast<uint64_t>(double(expected)) != std::bit_cast<uint64_t>(double(found))) {
                differ(path, fmt::format("{:a}", double(expected)), fmt::format("{:a}", double(found)));
            }
        } else if constexpr (std::is_same_v<T, Date>) {
            compare(expected.secondsSinceReferenceDate, found.secondsSinceReferenceDate, path);
        } else if constexpr (std::is_same_v<T, Duration>) {
            if (expected != found) {
                differ(path, fmt::format("[{}, {}]", expected.high(), expected.low()),
                       fmt::format("[{}, {}]", found.high(), found.low()));
            }
        } else if constexpr (std::is_same_v<T, UUID>) {
            if (expected != found) differ(path, expected.string(), found.string());
        } else if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, std::string>) {
            if (expected != found) differ(path, fmt::format("{}", expected), fmt::format("{}", found));
        } else if constexpr (IsOptional<T>::value) {
            if (expected.has_value() != found.has_value()) {
                differ(path, expected ? "present" : "absent", found ? "present" : "absent");
            } else if (expected) {
                compare(*expected, *found, path);
            }
        } else if constexpr (IsVector<T>::value) {
            if (expected.size() != found.size()) {
                differ(path + ".count", std::to_string(expected.size()), std::to_string(found.size()));
                return;
            }
            for (size_t i = 0; i < expected.size(); ++i) compare(expected[i], found[i], fmt::format("{}[{}]", path, i));
        } else if constexpr (IsSet<T>::value || IsMap<T>::value) {
            if (expected.size() != found.size()) {
                differ(path + ".count", std::to_string(expected.size()), std::to_string(found.size()));
                return;
            }
            size_t i = 0;
            for (const auto& item : expected) {
                if constexpr (IsSet<T>::value) {
                    if (!found.contains(item)) differ(fmt::format("{}[{}]", path, i), "an element", "none equal");
                } else {
                    auto it = found.find(item.first);
                    if (it == found.end()) differ(fmt::format("{}[key {}]", path, i), "a key", "none equal");
                    else compare(item.second, it->second, fmt::format("{}[key {}]", path, i));
                }
                ++i;
            }
        } else if constexpr (boost::describe::has_describe_enumerators<T>::value) {
            if (expected != found) differ(path, name(expected), name(found));
        } else if constexpr (IsVariant<T>::value) {
            if (expected.index() != found.index()) {
                differ(path, caseName(expected), caseName(found));
                return;
            }
            std::visit([&](const auto& e) {
                using Case = std::remove_cvref_t<decltype(e)>;
                compare(e, std::get<Case>(found), path + "." + Case::caseName);
            }, expected);
        } else if constexpr (boost::describe::has_describe_members<T>::value) {
            boost::mp11::mp_for_each<boost::describe::describe_members<T, boost::describe::mod_public>>(
                [&](auto member) {
                    compare(expected.*member.pointer, found.*member.pointer,
                            path.empty() ? std::string(member.name) : path + "." + member.name);
                });
        } else {
            static_assert(sizeof(T) == 0, "no comparison for this type");
        }
    }

private:
    void differ(const std::string& path, const std::string& expected, const std::string& found) {
        differences.push_back(fmt::format("{}: expected {}, found {}", path.empty() ? "<root>" : path, expected, found));
    }
    template <class E>
    static std::string name(E e) {
        const char* n = boost::describe::enum_to_string(e, nullptr);
        return n ? n : "?";
    }
    template <class V>
    static std::string caseName(const V& v) {
        return std::visit([](const auto& c) { return std::string(std::remove_cvref_t<decltype(c)>::caseName); }, v);
    }
};

}  // namespace orv::test
