#pragma once

#include <chrono>
#include <compare>
#include <functional>

namespace orv {

// An instant as seconds (with fraction) since 2001-01-01T00:00:00Z, the
// reference date of the wire format. A plain double so that it survives the
// JSON round trip bit for bit.
struct Date {
    // Seconds from the Unix epoch to the reference date.
    static constexpr double unixEpochOffset = 978'307'200.0;

    double secondsSinceReferenceDate = 0;

    static constexpr Date fromUnixSeconds(double unixSeconds) {
        return Date{unixSeconds - unixEpochOffset};
    }
    constexpr double unixSeconds() const { return secondsSinceReferenceDate + unixEpochOffset; }

    static Date now() {
        auto since = std::chrono::system_clock::now().time_since_epoch();
        return fromUnixSeconds(std::chrono::duration<double>(since).count());
    }

    friend constexpr bool operator==(const Date&, const Date&) = default;
    friend constexpr auto operator<=>(const Date&, const Date&) = default;
};

}  // namespace orv

template <>
struct std::hash<orv::Date> {
    size_t operator()(const orv::Date& d) const noexcept { return std::hash<double>{}(d.secondsSinceReferenceDate); }
};
