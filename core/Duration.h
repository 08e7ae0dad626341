#pragma once

#include <compare>
#include <cstdint>
#include <functional>

namespace orv {

// A signed span of time as a 128-bit count of attoseconds (10^-18 s).
// On the wire it is [high, low]: the signed upper and unsigned lower 64 bits.
struct Duration {
    using Attoseconds = __int128;
    static constexpr Attoseconds attosecondsPerSecond = 1'000'000'000'000'000'000;
    static constexpr Attoseconds attosecondsPerNanosecond = 1'000'000'000;

    Attoseconds attoseconds = 0;

    static constexpr Duration zero() { return {}; }
    static constexpr Duration nanoseconds(int64_t ns) { return Duration{Attoseconds(ns) * attosecondsPerNanosecond}; }
    static constexpr Duration milliseconds(int64_t ms) { return nanoseconds(ms * 1'000'000); }
    static constexpr Duration seconds(int64_t s) { return Duration{Attoseconds(s) * attosecondsPerSecond}; }
    static constexpr Duration fromParts(int64_t high, uint64_t low) {
        auto bits = (static_cast<unsigned __int128>(static_cast<uint64_t>(high)) << 64) | low;
        return Duration{static_cast<Attoseconds>(bits)};
    }

    constexpr int64_t high() const { return static_cast<int64_t>(static_cast<unsigned __int128>(attoseconds) >> 64); }
    constexpr uint64_t low() const { return static_cast<uint64_t>(static_cast<unsigned __int128>(attoseconds)); }

    // Whole seconds plus the remaining attoseconds / 10^18, both truncated
    // toward zero, so that large spans keep their fraction.
    constexpr int64_t wholeSeconds() const { return static_cast<int64_t>(attoseconds / attosecondsPerSecond); }
    constexpr int64_t remainderAttoseconds() const { return static_cast<int64_t>(attoseconds % attosecondsPerSecond); }
    constexpr double toSeconds() const {
        return static_cast<double>(wholeSeconds()) + static_cast<double>(remainderAttoseconds()) / 1e18;
    }
    constexpr int64_t toNanoseconds() const { return static_cast<int64_t>(attoseconds / attosecondsPerNanosecond); }

    friend constexpr Duration operator+(Duration a, Duration b) { return {a.attoseconds + b.attoseconds}; }
    friend constexpr Duration operator-(Duration a, Duration b) { return {a.attoseconds - b.attoseconds}; }
    friend constexpr bool operator==(const Duration&, const Duration&) = default;
    friend constexpr auto operator<=>(const Duration&, const Duration&) = default;
};

}  // namespace orv

template <>
struct std::hash<orv::Duration> {
    size_t operator()(const orv::Duration& d) const noexcept {
        return std::hash<uint64_t>{}(d.low()) ^ (std::hash<int64_t>{}(d.high()) * 0x9e3779b97f4a7c15ULL);
    }
};
