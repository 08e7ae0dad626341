#pragma once

#include <future>

#include "core/NetworkStats.h"

namespace orv {

// Anything that yields one NetworkStats per call; the future's get() rethrows a
// failure.
class NetworkSource {
public:
    virtual ~NetworkSource() = default;
    virtual std::future<NetworkStats> sample() = 0;
};

}  // namespace orv
