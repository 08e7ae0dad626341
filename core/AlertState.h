#pragma once

#include <boost/describe/class.hpp>
#include <map>

#include "core/AlertKey.h"
#include "core/Date.h"
#include "core/RecordHash.h"

namespace orv {

// When each rule last fired for each app: the only memory alerting keeps
// between evaluations. Written as a flat array alternating key and date.
struct AlertState {
    std::map<AlertKey, Date> lastFired;

    friend bool operator==(const AlertState&, const AlertState&) = default;
};
BOOST_DESCRIBE_STRUCT(AlertState, (), (lastFired))

}  // namespace orv
