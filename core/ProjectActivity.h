#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <variant>

#include "core/RecordHash.h"

namespace orv {

// The cases of ProjectActivity, written as {"<case>": {<payload>}}.
namespace activity {

// Doing work now.
struct Working {
    static constexpr const char* caseName = "working";
    friend bool operator==(const Working&, const Working&) = default;
};
BOOST_DESCRIBE_STRUCT(Working, (), ())

// No work for `minutes` minutes.
struct Idle {
    static constexpr const char* caseName = "idle";
    int64_t minutes = 0;
    friend bool operator==(const Idle&, const Idle&) = default;
};
BOOST_DESCRIBE_STRUCT(Idle, (), (minutes))

// Has done almost nothing since it started.
struct BarelyUsed {
    static constexpr const char* caseName = "barelyUsed";
    friend bool operator==(const BarelyUsed&, const BarelyUsed&) = default;
};
BOOST_DESCRIBE_STRUCT(BarelyUsed, (), ())

}  // namespace activity

// How recently a server or a project did work.
using ProjectActivity = std::variant<activity::Working, activity::Idle, activity::BarelyUsed>;

}  // namespace orv
