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
    template <class Map, class Projection>
    static double rate(const Map* previous, const Map& current, double seconds, Projection value) {
        return rate(previous, current, seconds, value, [](const auto&) { return true; });
    }

    // The plain form, over maps whose values are the counters themselves.
    template <class Map>
    static double rate(const std::optional<Map>& previous, const Map& current, double seconds) {
        return rate(previous ? &*previous : nullptr, current, seconds, [](uint64_t v) { return v; });
    }

    // As above with a filter: only keys of `current` for which `counts`
    // answers true contribute.
    template <class Map, class Projection, class Filter>
    static double rate(const Map* previous, const Map& current, double seconds, Projection value, Filter counts) {
        if (previous == nullptr || !(seconds > 0)) return 0;
        uint64_t sum = 0;
        for (const auto& [key, counters] : current) {
            if (!counts(key)) continue;
            auto before = previous->find(key);
            if (before == previous->end()) continue;
            uint64_t now = std::invoke(value, counters);
            uint64_t then = std::invoke(value, before->second);
            if (now >= then) sum += now - then;
        }
        return double(sum) / seconds;
    }
};

}  // namespace orv
