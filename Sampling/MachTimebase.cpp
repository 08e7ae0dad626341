#include "Sampling/MachTimebase.h"

#include <limits>

namespace orv {

std::optional<uint64_t> MachTimebase::nanoseconds(uint64_t ticks) const {
    uint64_t whole = 0, part = 0, sum = 0;
    if (__builtin_mul_overflow(ticks / denom, numer, &whole)) return std::nullopt;
    if (__builtin_mul_overflow(ticks % denom, numer, &part)) return std::nullopt;
    if (__builtin_add_overflow(whole, part / denom, &sum)) return std::nullopt;
    return sum;
}

std::optional<Duration> MachTimebase::duration(uint64_t ticks) const {
    auto ns = nanoseconds(ticks);
    if (!ns) return std::nullopt;
    constexpr uint64_t limit = uint64_t(std::numeric_limits<int64_t>::max());
    return Duration::nanoseconds(static_cast<int64_t>(*ns > limit ? limit : *ns));
}

}  // namespace orv
