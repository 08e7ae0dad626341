#pragma once

#include <boost/describe/class.hpp>

#include "core/Date.h"
#include "core/RecordHash.h"
#include "core/TerminationMode.h"
#include "core/TerminationTarget.h"

namespace orv {

// A termination the user confirmed, and when.
struct ConfirmedTermination {
    TerminationTarget target;
    TerminationMode mode = TerminationMode::quit;
    Date confirmedAt;
    friend bool operator==(const ConfirmedTermination&, const ConfirmedTermination&) = default;
};
BOOST_DESCRIBE_STRUCT(ConfirmedTermination, (), (target, mode, confirmedAt))

}  // namespace orv
