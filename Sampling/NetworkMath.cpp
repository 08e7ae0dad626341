#include "Sampling/NetworkMath.h"

#include "Sampling/CounterMath.h"

namespace orv {

std::pair<double, double> NetworkMath::rates(const InterfaceCounterMap* previous, const InterfaceCounterMap& current,
                                             double seconds) {
    return {CounterMath::rate(previous, current, seconds, &InterfaceCounters::bytesIn),
            CounterMath::rate(previous, current, seconds, &InterfaceCounters::bytesOut)};
}

bool NetworkMath::isEthernetClassName(std::string_view name) {
    if (!name.starts_with("en")) return false;
    for (std::string_view excluded : {"lo", "utun", "awdl", "llw", "bridge", "ap", "anpi", "gif", "stf"}) {
        if (name.starts_with(excluded)) return false;
    }
    return true;
}

}  // namespace orv
