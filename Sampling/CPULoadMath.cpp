#include "Sampling/CPULoadMath.h"

#include <cstdint>

namespace orv {

namespace {
uint64_t delta(uint64_t current, uint64_t baseline, CPULoadMath::CounterWidth width) {
    if (width == CPULoadMath::CounterWidth::wrapping32) return uint64_t(uint32_t(current - baseline));
    return current >= baseline ? current - baseline : 0;
}
}  // namespace

std::vector<std::pair<double, double>> CPULoadMath::coreLoads(const std::optional<std::vector<CPUTicks>>& previous,
                                                              const std::vector<CPUTicks>& current,
                                                              CounterWidth width) {
    const bool useBaseline = previous && previous->size() == current.size();
    std::vector<std::pair<double, double>> loads;
    loads.reserve(current.size());
    for (size_t i = 0; i < current.size(); ++i) {
        const CPUTicks baseline = useBaseline ? (*previous)[i] : CPUTicks{};
        const CPUTicks& now = current[i];
        const uint64_t user = delta(now.user, baseline.user, width);
        const uint64_t system = delta(now.system, baseline.system, width);
        const uint64_t idle = delta(now.idle, baseline.idle, width);
        const uint64_t nice = delta(now.nice, baseline.nice, width);
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
