#pragma once

#include <boost/describe/enum.hpp>

namespace orv {

// What an app can do for long enough to deserve an alert; written as the
// case name. The declaration order is the order rules are judged and shown.
enum class AlertRule {
    highCPU,        // cpuPercent, threshold in percent
    growingMemory,  // memoryBytes, threshold in bytes of growth
    heavyDisk,      // diskWriteBPS, threshold in bytes per second
    heavyNetwork,   // netInBPS + netOutBPS, threshold in bytes per second
};
BOOST_DESCRIBE_ENUM(AlertRule, highCPU, growingMemory, heavyDisk, heavyNetwork)

inline constexpr AlertRule allAlertRules[] = {AlertRule::highCPU, AlertRule::growingMemory, AlertRule::heavyDisk,
                                              AlertRule::heavyNetwork};

}  // namespace orv
