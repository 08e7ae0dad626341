#include "Sampling/MachTimebase.h"

#include <cstdio>
#include <cstdlib>
#include <limits>

namespace orv {

namespace {
[[noreturn]] void overflow() {
    std::fputs("fatal: CPU time conversion overflowed\n", stderr);
    std::abort();
}
}  // namespace

uint64_t MachTimebase::nanoseconds(uint64_t ticks) const {
    uint64_t whole = 0, part = 0, sum = 0;
    if (__builtin_mul_overflow(ticks / denom, numer, &whole)) overflow();
    if (__builtin_mul_overflow(ticks % denom, numer, &part)) overflow();
    if (__builtin_add_overflow(whole, part / denom, &sum)) overflow();
    return sum;
}

Duration MachTimebase::duration(uint64_t ticks) const {
    uint64_t ns = nanoseconds(ticks);
    constexpr uint64_t limit = uint64_t(std::numeric_limits<int64_t>::max());
    return Duration::nanoseconds(static_cast<int64_t>(ns > limit ? limit : ns));
}

}  // namespace orv
