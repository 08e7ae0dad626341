#pragma once

// Hashing of records over all their fields in declaration order, as their
// equality compares them. Any struct described with BOOST_DESCRIBE_STRUCT
// gets std::hash from here; its equality is the defaulted operator==.

#include <boost/describe.hpp>
#include <boost/mp11/algorithm.hpp>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <type_traits>
#include <variant>
#include <vector>

namespace orv {

inline void hashCombine(size_t& seed, size_t value) {
    seed ^= value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
}

template <class T>
size_t hashValue(const T& value);

namespace detail {
template <class T> struct IsHashSequence : std::false_type {};
template <class T, class A> struct IsHashSequence<std::vector<T, A>> : std::true_type {};
template <class T, class C, class A> struct IsHashSequence<std::set<T, C, A>> : std::true_type {};
template <class K, class V, class C, class A> struct IsHashSequence<std::map<K, V, C, A>> : std::true_type {};
template <class T> struct IsHashOptional : std::false_type {};
template <class T> struct IsHashOptional<std::optional<T>> : std::true_type {};
}  // namespace detail

template <class T>
size_t hashValue(const T& value) {
    if constexpr (boost::describe::has_describe_members<T>::value && std::is_class_v<T>) {
        size_t seed = 0;
        boost::mp11::mp_for_each<boost::describe::describe_members<T, boost::describe::mod_public>>(
            [&](auto member) { hashCombine(seed, hashValue(value.*member.pointer)); });
        return seed;
    } else if constexpr (detail::IsHashSequence<T>::value) {
        size_t seed = value.size();
        for (const auto& element : value) hashCombine(seed, hashValue(element));
        return seed;
    } else if constexpr (requires { typename T::first_type; typename T::second_type; }) {
        size_t seed = hashValue(value.first);
        hashCombine(seed, hashValue(value.second));
        return seed;
    } else if constexpr (detail::IsHashOptional<T>::value) {
        return value ? hashValue(*value) * 31 + 1 : 0;
    } else if constexpr (requires { value.index(); std::variant_size<T>::value; }) {
        size_t seed = value.index();
        std::visit([&](const auto& alternative) { hashCombine(seed, hashValue(alternative)); }, value);
        return seed;
    } else {
        return std::hash<T>{}(value);
    }
}

template <class T>
concept HashableRecord = boost::describe::has_describe_members<T>::value && std::is_class_v<T>;

}  // namespace orv

template <orv::HashableRecord T>
struct std::hash<T> {
    size_t operator()(const T& value) const noexcept { return orv::hashValue(value); }
};
