#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>

#include "core/AppIdentity.h"
#include "core/RecordHash.h"

namespace orv {

// One app's processes of one snapshot, summed. An optional figure is absent
// only when no member has it; otherwise it is the sum over those that do.
struct AppAggregate {
    AppIdentity app;
    int64_t processCount = 0;
    double cpuPercent = 0;
    uint64_t memoryBytes = 0;  // the members' footprints
    std::optional<double> energyMW;
    double diskReadBPS = 0;
    double diskWriteBPS = 0;
    std::optional<double> netInBPS;
    std::optional<double> netOutBPS;
    std::optional<double> gpuPercent;
    std::optional<double> energyImpact;

    friend bool operator==(const AppAggregate&, const AppAggregate&) = default;
};
BOOST_DESCRIBE_STRUCT(AppAggregate, (), (app, processCount, cpuPercent, memoryBytes, energyMW, diskReadBPS,
                                         diskWriteBPS, netInBPS, netOutBPS, gpuPercent, energyImpact))

}  // namespace orv
