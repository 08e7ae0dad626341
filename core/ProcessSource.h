#pragma once

#include <cstdint>
#include <future>
#include <unordered_set>
#include <vector>

#include "core/ProcessReading.h"

namespace orv {

using PidSet = std::unordered_set<int32_t>;

// Anything that yields one reading per live process: the local sampler, or
// the privileged helper's client. A future's get() rethrows a failure.
class ProcessSource {
public:
    virtual ~ProcessSource() = default;

    virtual std::future<std::vector<ProcessReading>> sample() = 0;

    // The same, but the usage figures of `skippingUsageFor` are not read
    // (their readings come back incomplete). By default the set is ignored.
    virtual std::future<std::vector<ProcessReading>> sample(const PidSet& skippingUsageFor) {
        (void)skippingUsageFor;
        return sample();
    }
};

}  // namespace orv
