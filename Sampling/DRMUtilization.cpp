#include "Sampling/DRMUtilization.h"

#include <algorithm>

namespace orv {

std::optional<double> DRMUtilization::update(std::span<const DRMClientUsage> clients, int64_t nanoseconds) {
    std::map<Key, Seen> current;
    std::map<std::string, double, std::less<>> busyNanoseconds;  // by engine
    std::map<std::string, double, std::less<>> cycleShare;        // by engine
    for (const DRMClientUsage& client : clients) {
        // Without an id a client cannot be followed from walk to walk.
        if (!client.clientID) continue;
        Key key{client.driver, *client.clientID};
        if (current.contains(key)) continue;  // the same client in another descriptor
        Seen& seen = current[key];
        auto before = previous_.find(key);
        for (const auto& [engine, ns] : client.engineNanoseconds) {
            seen.engineNanoseconds[engine] = ns;
            if (!DRMClientUsage::isWorkEngine(engine)) continue;
            uint64_t from = 0;
            if (before != previous_.end()) {
                auto it = before->second.engineNanoseconds.find(engine);
                if (it != before->second.engineNanoseconds.end()) from = it->second;
            }
            if (ns > from) busyNanoseconds[engine] += static_cast<double>(ns - from);
        }
        for (const auto& [engine, cycles] : client.engineCycles) {
            seen.engineCycles[engine] = cycles;
            if (!DRMClientUsage::isWorkEngine(engine) || before == previous_.end()) continue;
            auto it = before->second.engineCycles.find(engine);
            if (it == before->second.engineCycles.end()) continue;
            const auto& from = it->second;
            if (cycles.total <= from.total || cycles.busy < from.busy) continue;
            cycleShare[engine] +=
                static_cast<double>(cycles.busy - from.busy) / static_cast<double>(cycles.total - from.total);
        }
    }

    std::optional<int64_t> since = previousAt_;
    previous_ = std::move(current);
    previousAt_ = nanoseconds;
    if (!since || nanoseconds <= *since) return std::nullopt;

    double interval = static_cast<double>(nanoseconds - *since);
    double busiest = 0;
    for (const auto& [engine, ns] : busyNanoseconds) busiest = std::max(busiest, ns / interval);
    for (const auto& [engine, share] : cycleShare) busiest = std::max(busiest, share);
    return std::clamp(busiest * 100, 0.0, 100.0);
}

}  // namespace orv
