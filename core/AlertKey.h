#pragma once

#include <boost/describe/class.hpp>
#include <compare>
#include <string>

#include "core/AlertRule.h"
#include "core/RecordHash.h"

namespace orv {

// One rule for one app: what a cooldown is kept per.
struct AlertKey {
    std::string appID;
    AlertRule rule = AlertRule::highCPU;

    friend bool operator==(const AlertKey&, const AlertKey&) = default;
    friend auto operator<=>(const AlertKey&, const AlertKey&) = default;
};
BOOST_DESCRIBE_STRUCT(AlertKey, (), (appID, rule))

}  // namespace orv
