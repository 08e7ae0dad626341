#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "core/RecordHash.h"

namespace orv {

// One process's rates over one sampling interval. Every rate is per second
// over the interval the sample was measured on.
struct ProcessSample {
    int32_t pid = 0;
    std::string app;   // the `id` of the owning AppIdentity
    std::string name;
    double cpuPercent = 0;          // share of the whole machine, 0...100
    uint64_t footprintBytes = 0;
    double diskReadBPS = 0;
    double diskWriteBPS = 0;
    std::optional<double> energyMW;      // absent when the usage was not read
    std::optional<double> netInBPS;      // filled in by the network accounting
    std::optional<double> netOutBPS;
    std::optional<double> gpuPercent;    // only where GPU time is known both times
    std::optional<double> energyImpact;  // weighted score, never negative

    int32_t id() const { return pid; }

    // A copy carrying network rates, which are measured by a separate
    // facility after the rest of the sample.
    ProcessSample withNetwork(std::optional<double> inBPS, std::optional<double> outBPS) const {
        ProcessSample copy = *this;
        copy.netInBPS = inBPS;
        copy.netOutBPS = outBPS;
        return copy;
    }

    friend bool operator==(const ProcessSample&, const ProcessSample&) = default;
};
BOOST_DESCRIBE_STRUCT(ProcessSample, (), (pid, app, name, cpuPercent, footprintBytes, diskReadBPS, diskWriteBPS,
                                          energyMW, netInBPS, netOutBPS, gpuPercent, energyImpact))

}  // namespace orv
