#pragma once

#include <boost/describe/class.hpp>

#include "core/Duration.h"
#include "core/RecordHash.h"

namespace orv {

// The user's setting of one alert rule: whether it is judged at all, the
// level that counts as misbehaving (in the rule's unit) and how long the
// condition must hold.
struct RuleSettings {
    bool isEnabled = false;
    double threshold = 0;
    Duration window;

    friend bool operator==(const RuleSettings&, const RuleSettings&) = default;
};
BOOST_DESCRIBE_STRUCT(RuleSettings, (), (isEnabled, threshold, window))

}  // namespace orv
