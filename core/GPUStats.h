#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "core/RecordHash.h"

namespace orv {

// The machine's GPU at one sample.
struct GPUStats {
    std::string name;                          // the accelerator's model name
    double utilizationPercent = 0;             // 0 to 100
    std::optional<uint64_t> memoryInUseBytes;  // memory the GPU holds

    friend bool operator==(const GPUStats&, const GPUStats&) = default;
};
BOOST_DESCRIBE_STRUCT(GPUStats, (), (name, utilizationPercent, memoryInUseBytes))

}  // namespace orv
