#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace orv {

// Byte rates from two keyed readings of cumulative unsigned 64-bit counters,
// shared by the disk sampler (keyed by device) and the network sampler
// (keyed by interface name).
struct CounterMath {
    // The summed growth of the counters present in both readings, per
    // second. A counter that went backwards (a reset, or a device replaced
    // under the same key) and a key new since `previous` add nothing; keys
    // only in `previous` are ignored. No previous reading, or an interval
    // that is not above 0 (NaN included), is a rate of 0.
    //
    // `value` projects a mapped value onto the counter, so one reading of
    // paired counters serves both directions without copying.
    //
    // Only devices that count are in the maps (their ports leave the others
    // out), so every key of both readings contributes.
    template <class Map, class Projection>
    static double rate(const Map* previous, const Map& current, double seconds, Projection value) {
        if (previous == nullptr || !(seconds > 0)) return 0;
        uint64_t sum = 0;
        for (const auto& [key, counters] : current) {
            auto before = previous->find(key);
            if (before == previous->end()) continue;
            uint64_t now = std::invoke(value, counters);
            uint64_t then = std::invoke(value, before->second);
            if (now >= then) sum += now - then;
        }
        return double(sum) / seconds;
    }

    // The plain form, over maps whose values are the counters themselves.
    template <class Map>
    static double rate(const std::optional<Map>& previous, const Map& current, double seconds) {
        return rate(previous ? &*previous : nullptr, current, seconds, [](uint64_t v) { return v; });
    }
};

}  // namespace orv
