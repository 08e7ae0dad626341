#include "Sampling/ProcessNetworkMath.h"

namespace orv::ProcessNetworkMath {

namespace {

double perSecond(uint64_t now, uint64_t before, double elapsedSeconds) {
    if (now < before) return 0;
    return double(now - before) / elapsedSeconds;
}

}  // namespace

Result rates(const CountersByPID& previous, const NetworkBytesByPID& cumulative,
             const std::vector<ProcessReading>& readings, std::optional<uint32_t> uid, double elapsedSeconds) {
    std::vector<CountersByPID::value_type> counters;
    std::vector<RatesByPID::value_type> rates;
    counters.reserve(readings.size());
    rates.reserve(readings.size());
    for (const auto& reading : readings) {
        if (uid && reading.uid != *uid) continue;
        NetworkByteCounts bytes;
        if (auto found = cumulative.find(reading.pid); found != cumulative.end()) bytes = found->second;
        counters.emplace_back(reading.pid, Counter{reading.startTime, bytes.rx, bytes.tx});
        Rate rate;
        auto before = previous.find(reading.pid);
        if (elapsedSeconds > 0 && before != previous.end() && before->second.startTime == reading.startTime) {
            rate.inBPS = perSecond(bytes.rx, before->second.rx, elapsedSeconds);
            rate.outBPS = perSecond(bytes.tx, before->second.tx, elapsedSeconds);
        }
        rates.emplace_back(reading.pid, rate);
    }
    return {RatesByPID(std::move(rates)), CountersByPID(std::move(counters))};
}

std::vector<ProcessSample> apply(const RatesByPID& rates, std::vector<ProcessSample> samples) {
    for (auto& sample : samples) {
        auto found = rates.find(sample.pid);
        if (found == rates.end()) continue;
        sample.netInBPS = found->second.inBPS;
        sample.netOutBPS = found->second.outBPS;
    }
    return samples;
}

}  // namespace orv::ProcessNetworkMath
