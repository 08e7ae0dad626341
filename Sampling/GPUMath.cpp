#include "Sampling/GPUMath.h"

#include <algorithm>
#include <cmath>

#include "core/TextDecoding.h"

namespace orv::GPUMath {

std::optional<GPUStats> stats(const PropertyValue& performanceStatistics, std::string name) {
    const PropertyValue* utilization = performanceStatistics.find(utilizationKey);
    auto percent = utilization == nullptr ? std::nullopt : utilization->number();
    if (!percent) return std::nullopt;

    GPUStats out;
    out.name = std::move(name);
    out.utilizationPercent = *percent > 0 ? std::min(*percent, 100.0) : 0;
    if (const PropertyValue* memory = performanceStatistics.find(memoryInUseKey)) {
        out.memoryInUseBytes = memory->unsignedInteger();
        // A whole, non-negative real is still a byte count.
        if (auto real = memory->number(); !out.memoryInUseBytes && real && *real >= 0 && *real < 1.8e19 &&
                                          std::trunc(*real) == *real) {
            out.memoryInUseBytes = static_cast<uint64_t>(*real);
        }
    }
    return out;
}

std::optional<int32_t> pidFromCreator(std::string_view creator) {
    constexpr std::string_view prefix = "pid ";
    if (!creator.starts_with(prefix)) return std::nullopt;
    std::string_view digits = creator.substr(prefix.size());
    digits = digits.substr(0, digits.find(", "));
    if (!digits.empty() && digits.front() == '+') {
        digits.remove_prefix(1);
        if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) return std::nullopt;
    }
    auto pid = TextDecoding::parseNumber<int32_t>(digits);
    if (!pid) return std::nullopt;
    return static_cast<int32_t>(static_cast<uint32_t>(*pid) & 0x7fff'ffffu);  // sign bit cleared
}

std::optional<uint64_t> appUsageTotal(const PropertyValue& appUsage) {
    const PropertyValue::Array* entries = appUsage.array();
    if (entries == nullptr) return std::nullopt;
    uint64_t total = 0;
    for (const PropertyValue& entry : *entries) {
        if (entry.dictionary() == nullptr) return std::nullopt;
        const PropertyValue* time = entry.find(accumulatedTimeKey);
        if (time == nullptr) continue;
        uint64_t value = 0;
        if (auto bits = time->unsignedInteger()) value = *bits;
        else if (auto real = time->number(); real && *real > 0) value = static_cast<uint64_t>(*real);
        total += value;  // unsigned: wraps rather than traps on a corrupt counter
    }
    return total;
}

std::map<int32_t, uint64_t> processGPUTimes(std::span<const PropertyValue> userClients) {
    std::map<int32_t, uint64_t> out;
    for (const PropertyValue& client : userClients) {
        const PropertyValue* creator = client.find(creatorKey);
        if (creator == nullptr || creator->string() == nullptr) continue;
        auto pid = pidFromCreator(*creator->string());
        if (!pid) continue;
        uint64_t time = 0;
        if (const PropertyValue* usage = client.find(appUsageKey)) time = appUsageTotal(*usage).value_or(0);
        out[*pid] += time;
    }
    return out;
}

}  // namespace orv::GPUMath
