#pragma once

#include <boost/describe/class.hpp>
#include <vector>

#include "core/AppAggregate.h"
#include "core/Date.h"
#include "core/Duration.h"
#include "core/ProcessSample.h"
#include "core/RecordHash.h"
#include "core/SystemSample.h"

namespace orv {

// Everything known about the machine at one sampling instant. Every rate in
// it is per second over `interval`, the time measured since the previous
// snapshot (zero for a first snapshot, which therefore has no rates).
struct Snapshot {
    Date at;  // wall clock when the processes were read
    Duration interval;
    SystemSample system;
    std::vector<AppAggregate> apps;
    std::vector<ProcessSample> processes;

    friend bool operator==(const Snapshot&, const Snapshot&) = default;
};
BOOST_DESCRIBE_STRUCT(Snapshot, (), (at, interval, system, apps, processes))

}  // namespace orv
