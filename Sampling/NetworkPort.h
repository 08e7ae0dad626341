#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "Sampling/NetworkMath.h"

namespace orv {

// The platform's reads for NetworkSampler: the NET_RT_IFLIST2 routing dump
// and the dynamic store on macOS, rtnetlink on Linux, fakes in tests.
class NetworkPort {
public:
    virtual ~NetworkPort() = default;

    // Every interface's cumulative byte counts in one kernel dump, into
    // `out` (cleared first). Throws SamplingError.
    virtual void readCounters(InterfaceCounterMap& out) = 0;

    // Whether an interface's bytes count towards the machine's throughput.
    virtual bool counts(const std::string& name) = 0;

    // The interface of the default route, IPv4 before IPv6; absent when
    // there is none or it cannot be found.
    virtual std::optional<std::string> primaryInterface() = 0;
};

// The platform's port. On Linux it reads below `root`; macOS ignores it.
std::unique_ptr<NetworkPort> makeNetworkPort(const std::filesystem::path& root = "/");

}  // namespace orv
