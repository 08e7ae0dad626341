#pragma once

#include <boost/describe/class.hpp>
#include <boost/describe/enum.hpp>
#include <string>

#include "core/RecordHash.h"

namespace orv {

// The charge of one cell of a wireless peripheral (a mouse, or one earbud).
struct PeripheralBattery {
    enum class Kind { airPods, mouse, keyboard, trackpad, other };
    BOOST_DESCRIBE_NESTED_ENUM(Kind, airPods, mouse, keyboard, trackpad, other)

    std::string id;
    std::string name;
    Kind kind = Kind::other;
    double percent = 0;

    friend bool operator==(const PeripheralBattery&, const PeripheralBattery&) = default;
};
BOOST_DESCRIBE_STRUCT(PeripheralBattery, (), (id, name, kind, percent))

}  // namespace orv
