#pragma once

#include <span>
#include <vector>

#include "core/Alert.h"
#include "core/AlertContext.h"
#include "core/AlertSettings.h"
#include "core/AlertState.h"
#include "core/AppActivityHistory.h"
#include "core/NumberLocale.h"

namespace orv {

// Turns the apps' recent activity into alerts. A pure function of its
// arguments but for the alerts' random identifiers; `state` is read for
// cooldowns and updated with every alert raised.
//
// A rule is judged only when enabled, over the points with
// now − window ≤ at ≤ now, and only when those points cover the window: the
// earliest of them is at most a sixth of the window (and never more than
// 5 s) younger than its start, so a recorder that just started judges
// nothing, while samples a second apart cover a window of 6 s or more
// whatever their phase. Conditions:
// - highCPU: every point at or above the threshold (a NaN is below);
// - growingMemory: the last point's memory exceeds the first's by more than
//   the threshold;
// - heavyDisk: the mean write rate at or above the threshold;
// - heavyNetwork: the mean of in + out at or above the threshold, only when
//   every point has both figures.
// Never for a muted app, never while the quiet hours contain now, never for
// the front app when it is exempt, never within the cooldown of the same
// rule for the same app.
struct AlertEvaluator {
    AlertEvaluator() = delete;

    static std::vector<Alert> evaluate(const AlertSettings& settings, AlertState& state, const AlertContext& context,
                                       std::span<const AppActivityHistory> histories,
                                       const NumberLocale& locale = NumberLocale::current());

    // The slack allowed between the window's start and its earliest point.
    static Duration coverageSlack(Duration window);
};

}  // namespace orv
