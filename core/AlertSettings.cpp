#include "core/AlertSettings.h"

namespace orv {

const AlertSettings& AlertSettings::defaults() {
    static const AlertSettings settings{
        .rules = {{AlertRule::highCPU, {true, 70.0, Duration::seconds(600)}},
                  {AlertRule::growingMemory, {true, 1073741824.0, Duration::seconds(3600)}},
                  {AlertRule::heavyDisk, {true, 50000000.0, Duration::seconds(300)}},
                  {AlertRule::heavyNetwork, {true, 10000000.0, Duration::seconds(300)}}},
        .cooldown = Duration::seconds(3600),
        .mutedAppIDs = {},
        .quietHours = std::nullopt,
        .exemptsFrontmostApp = true,
    };
    return settings;
}

}  // namespace orv
