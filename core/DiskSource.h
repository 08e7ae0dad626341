#pragma once

#include <future>

#include "core/DiskStats.h"

namespace orv {

// Anything that yields one DiskStats per call; the future's get() rethrows a
// failure.
class DiskSource {
public:
    virtual ~DiskSource() = default;
    virtual std::future<DiskStats> sample() = 0;
};

}  // namespace orv
