#include "Sampling/CPULoadMath.h"

#include <cstdint>

namespace orv {

namespace {
uint64_t wrappingDelta(uint64_t current, uint64_t baseline) {
    return uint64_t(uint32_t(current - baseline));
}
}  // namespace

std::vector<std::pair<double, double>> CPULoadMath::coreLoads(const std::optional<std::vector<CPUTicks>>& previous,
                                                              const std::vector<CPUTicks>& current) {
    const bool useBaseline = previous && previous->size() == current.size();
    std::vector<std::pair<double, double>> loads;
    loads.reserve(current.size());
    for (size_t i = 0; i < current.size(); ++i) {
        const CPUTicks baseline = useBaseline ? (*previous)[i] : CPUTicks{};
        const CPUTicks& now = current[i];
        const uint64_t user = wrappingDelta(now.user, baseline.user);
        const uint64_t system = wrappingDelta(now.system, baseline.system);
        const uint64_t idle = wrappingDelta(now.idle, baseline.idle);
        const uint64_t nice = wrappingDelta(now.nice, baseline.nice);
        const uint64_t busy = user + nice;
        const uint64_t total = user + nice + system + idle;
        if (total == 0) {
            loads.emplace_back(0.0, 0.0);
        } else {
            loads.emplace_back(double(busy) / double(total) * 100, double(system) / double(total) * 100);
        }
    }
    return loads;
}

}  // namespace orv
