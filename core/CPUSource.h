#pragma once

#include <future>

#include "core/CPUStats.h"

namespace orv {

// Anything that yields one CPUStats per call; the future's get() rethrows a
// failure.
class CPUSource {
public:
    virtual ~CPUSource() = default;
    virtual std::future<CPUStats> sample() = 0;
};

}  // namespace orv
