#include "Sampling/DRMUtilization.h"

#include <algorithm>

namespace orv {

std::optional<double> DRMUtilization::update(std::span<const DRMClientUsage> clients, int64_t nanoseconds) {
    double interval = previousAt_ && nanoseconds > *previousAt_ ? static_cast<double>(nanoseconds - *previousAt_) : 0;
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
            if (!DRMClientUsage::isWorkEngine(engine)) continue;
            double& integrated = seen.cycleNanoseconds[engine];
            if (before == previous_.end()) continue;
            const auto& kept = before->second.cycleNanoseconds;
            if (auto k = kept.find(engine); k != kept.end()) integrated = k->second;
            auto it = before->second.engineCycles.find(engine);
            if (it == before->second.engineCycles.end()) continue;
            const auto& from = it->second;
            if (cycles.total <= from.total || cycles.busy < from.busy) continue;
            double share = std::min(
                1.0, static_cast<double>(cycles.busy - from.busy) / static_cast<double>(cycles.total - from.total));
            cycleShare[engine] += share;
            integrated += share * interval;
        }
    }

    std::optional<int64_t> since = previousAt_;
    previous_ = std::move(current);
    previousAt_ = nanoseconds;
    if (!since || nanoseconds <= *since) return std::nullopt;

    double busiest = 0;
    for (const auto& [engine, ns] : busyNanoseconds) busiest = std::max(busiest, ns / interval);
    for (const auto& [engine, share] : cycleShare) busiest = std::max(busiest, share);
    return std::clamp(busiest * 100, 0.0, 100.0);
}

DRMClientUsage DRMUtilization::withEngineTimes(const DRMClientUsage& client) const {
    DRMClientUsage out = client;
    if (!client.clientID) return out;
    auto it = previous_.find(Key{client.driver, *client.clientID});
    if (it == previous_.end()) return out;
    for (const auto& [engine, ns] : it->second.cycleNanoseconds) {
        out.engineNanoseconds.try_emplace(engine, static_cast<uint64_t>(ns));
    }
    return out;
}

}  // namespace orv
