#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/Date.h"
#include "core/NetworkByteCounts.h"
#include "core/PidTable.h"
#include "core/ProcessReading.h"
#include "core/ProcessSample.h"
#include "core/RecordHash.h"

namespace orv::ProcessNetworkMath {

// One process's cumulative bytes as last seen, with its start time, which
// tells it from a later process that reuses its pid.
struct Counter {
    Date startTime;
    uint64_t rx = 0;
    uint64_t tx = 0;

    friend bool operator==(const Counter&, const Counter&) = default;
};
BOOST_DESCRIBE_STRUCT(Counter, (), (startTime, rx, tx))

struct Rate {
    double inBPS = 0;
    double outBPS = 0;

    friend bool operator==(const Rate&, const Rate&) = default;
};
BOOST_DESCRIBE_STRUCT(Rate, (), (inBPS, outBPS))

using CountersByPID = PidTable<Counter>;
using RatesByPID = PidTable<Rate>;

struct Result {
    RatesByPID rates;
    CountersByPID counters;  // the caller's `previous` for the next call
};

// Receive and send rates of every reading (of user `uid` only, when given)
// between its previous counter and the cumulative bytes now, over
// `elapsedSeconds`. A process seen for the first time, a pid now held by
// another process, or an interval that is not positive gives (0, 0); a
// count that went backwards gives 0 for that direction.
Result rates(const CountersByPID& previous, const NetworkBytesByPID& cumulative,
             const std::vector<ProcessReading>& readings, std::optional<uint32_t> uid, double elapsedSeconds);

// The samples with the network rates of `rates` set; a sample whose pid has
// none keeps its fields as they were.
std::vector<ProcessSample> apply(const RatesByPID& rates, std::vector<ProcessSample> samples);

}  // namespace orv::ProcessNetworkMath
