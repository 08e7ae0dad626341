#pragma once

#include <future>

#include "core/MemoryStats.h"

namespace orv {

// Anything that yields one MemoryStats per call; the future's get() rethrows a
// failure.
class MemorySource {
public:
    virtual ~MemorySource() = default;
    virtual std::future<MemoryStats> sample() = 0;
};

}  // namespace orv
