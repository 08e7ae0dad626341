#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "Sampling/BatteryPort.h"
#include "core/BatteryStats.h"
#include "core/ContinuousClock.h"
#include "core/PropertyValue.h"

namespace orv {

// The internal battery's stats. The slow-changing health properties (cycle
// count, capacities) are cached for 5 minutes; current and voltage are read
// on every call. Calls run one at a time behind the sampler's own lock.
class BatterySampler {
public:
    using Clock = std::function<ContinuousClock::Instant()>;

    static constexpr Duration healthLifetime = Duration::seconds(300);

    explicit BatterySampler(std::unique_ptr<BatteryPort> port = makeBatteryPort(), Clock clock = ContinuousClock::now);

    // Absent when the machine has no present internal battery.
    std::optional<BatteryStats> sample();

private:
    struct Health {
        PropertyValue::Dictionary properties;
        ContinuousClock::Instant readAt;
    };

    std::optional<PropertyValue> smartBatteryProperties();

    std::mutex mutex_;
    std::unique_ptr<BatteryPort> port_;
    std::optional<Health> health_;
    Clock clock_;
};

}  // namespace orv
