#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <vector>

#include "core/RecordHash.h"

namespace orv {

// What one attempt achieved: the pids that are gone and those still running.
struct TerminationResult {
    std::vector<int32_t> terminated;
    std::vector<int32_t> survivors;
    friend bool operator==(const TerminationResult&, const TerminationResult&) = default;
};
BOOST_DESCRIBE_STRUCT(TerminationResult, (), (terminated, survivors))

}  // namespace orv
