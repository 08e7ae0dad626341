#pragma once

#include <boost/describe/class.hpp>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "core/AlertRule.h"
#include "core/Duration.h"
#include "core/QuietHours.h"
#include "core/RecordHash.h"
#include "core/RuleSettings.h"

namespace orv {

// Everything the user sets about alerts. `rules` is written as a flat array
// alternating rule and setting, `mutedAppIDs` as an array of strings, and an
// absent `quietHours` leaves its key out.
struct AlertSettings {
    std::map<AlertRule, RuleSettings> rules;
    Duration cooldown;                  // between two alerts of one rule for one app
    std::set<std::string> mutedAppIDs;  // AppIdentity.id values never alerted on
    std::optional<QuietHours> quietHours;
    bool exemptsFrontmostApp = false;   // no alert for the app in front

    // Every rule on: CPU at 70 % for 10 min, memory growing 1 GiB in an hour,
    // disk writes of 50 MB/s or network of 10 MB/s for 5 min; an hour's
    // cooldown; nothing muted, no quiet hours, the front app exempt.
    static const AlertSettings& defaults();

    friend bool operator==(const AlertSettings&, const AlertSettings&) = default;
};
BOOST_DESCRIBE_STRUCT(AlertSettings, (), (rules, cooldown, mutedAppIDs, quietHours, exemptsFrontmostApp))

}  // namespace orv
