#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orv {

// A property-list value: what an Info.plist, an energy-model file or an
// IOKit property dictionary holds. CoreFoundation values and libplist nodes
// both convert into it, so that the code that reads them is portable.
class PropertyValue {
public:
    using Data = std::vector<uint8_t>;
    using Array = std::vector<PropertyValue>;
    using Dictionary = std::map<std::string, PropertyValue, std::less<>>;
    // Integers keep their 64 bits as the platform stored them; a counter
    // above 2^63 reads back through unsignedInteger().
    struct Integer {
        int64_t bits;
        friend bool operator==(const Integer&, const Integer&) = default;
    };
    struct Real {
        double value;
        friend bool operator==(const Real&, const Real&) = default;
    };
    using Storage = std::variant<bool, Integer, Real, std::string, Data, Array, Dictionary>;

    PropertyValue() : storage_(Dictionary{}) {}
    PropertyValue(bool b) : storage_(b) {}
    PropertyValue(int v) : storage_(Integer{v}) {}
    PropertyValue(int64_t v) : storage_(Integer{v}) {}
    PropertyValue(uint64_t v) : storage_(Integer{static_cast<int64_t>(v)}) {}
    PropertyValue(double v) : storage_(Real{v}) {}
    PropertyValue(const char* s) : storage_(std::string(s)) {}
    PropertyValue(std::string s) : storage_(std::move(s)) {}
    PropertyValue(Data d) : storage_(std::move(d)) {}
    PropertyValue(Array a) : storage_(std::move(a)) {}
    PropertyValue(Dictionary d) : storage_(std::move(d)) {}

    const Storage& storage() const { return storage_; }

    bool isNumber() const { return holds<Integer>() || holds<Real>(); }
    bool isInteger() const { return holds<Integer>(); }
    std::optional<bool> boolean() const;
    std::optional<int64_t> integer() const;           // integers only
    std::optional<uint64_t> unsignedInteger() const;  // integers only, bits as stored
    std::optional<double> number() const;             // integer or real
    const std::string* string() const { return std::get_if<std::string>(&storage_); }
    const Data* data() const { return std::get_if<Data>(&storage_); }
    const Array* array() const { return std::get_if<Array>(&storage_); }
    const Dictionary* dictionary() const { return std::get_if<Dictionary>(&storage_); }

    // The entry under `key` when this is a dictionary that has it.
    const PropertyValue* find(std::string_view key) const;

    friend bool operator==(const PropertyValue&, const PropertyValue&) = default;

private:
    template <class T>
    bool holds() const { return std::holds_alternative<T>(storage_); }

    Storage storage_;
};

}  // namespace orv
