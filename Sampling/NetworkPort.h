#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "Sampling/CountedDeviceCache.h"
#include "core/InterfaceCounters.h"

namespace orv {

// The platform's reads for NetworkSampler: the NET_RT_IFLIST2 routing dump
// and the dynamic store on macOS, rtnetlink on Linux, fakes in tests.
class NetworkPort {
public:
    virtual ~NetworkPort() = default;

    // The cumulative byte counts of every interface that counts, from one
    // kernel dump, asking `counted` about each interface it reads (see
    // CountedDeviceCache). The sampler's primary read: throws SamplingError
    // when the dump fails.
    virtual InterfaceCounterMap readCounters(CountedDeviceCache<std::string>& counted) = 0;

    // The interface of the default route, IPv4 before IPv6; absent when
    // there is none or it cannot be found.
    virtual std::optional<std::string> primaryInterface() = 0;
};

// The platform's port. On Linux it reads below `root`; macOS ignores it.
std::unique_ptr<NetworkPort> makeNetworkPort(const std::filesystem::path& root = "/");

}  // namespace orv
